#include "commands/dirs.h"

#include "console/failure.h"
#include "console/output.h"
#include "console/texts.h"
#include "search/choice.h"
#include "search/enumerator_names.h"
#include "search/search_dir_argument.h"
#include "search/search_options.h"
#include "search/user_store.h"

#include <lokata2/search_dir_chain.h>
#include <lokata2/utils.h>

#include <optstore2/store_lock.h>

#include <filesystem>
#include <functional>
#include <memory>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

struct DirsOptions {
    std::string store;
    std::vector<std::string> dirs;
    std::vector<search_category_t> categories; ///< Empty for all.

    std::string storeFile() const { return store.empty() ? defaultStoreFile() : store; }

    /// The directories named, as absolute paths: a store is read from anywhere.
    std::vector<SearchDirArgument> parsedDirs() const {
        std::vector<SearchDirArgument> parsed;
        for (std::string const& text : dirs) {
            parsed.push_back(parseSearchDir(text));
            std::string& directory = parsed.back().directory;
            directory = std::filesystem::absolute(directory).string();
        }
        return parsed;
    }

    std::vector<search_category_t> namedCategories() const {
        std::vector<search_category_t> named = categories;
        if (named.empty())
            for (auto const& word : c_categoryWords)
                named.push_back(word.value);
        return named;
    }
};

/// Reads the store, changes it and writes it back once, alone among the programs that do so. A
/// change that gives false leaves the store as it was.
bool changeStore(std::string const& file,
                 std::function<bool(IEditableSearchDirContainer&)> const& change) {
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::absolute(file).parent_path(), error);
    if (error)
        throw Failure(textOf(Text::store_directory, {file, error.message()}));
    optstore2::store_lock_t const lock(file.c_str());
    auto const storage = std::make_shared<StagedStorage>(openStore(file));
    bool const isChanged = change(*IPersistentSearchDirContainer::create(storage));
    if (isChanged)
        storage->commit();
    return isChanged;
}

ExitStatus add(DirsOptions const& options) {
    auto const dirs = options.parsedDirs();
    for (SearchDirArgument const& dir : dirs)
        warnOfMissingDirectory("dirs add", dir.directory);
    changeStore(options.storeFile(), [&dirs](IEditableSearchDirContainer& stored) {
        for (SearchDirArgument const& dir : dirs)
            stored.addDirectory(dir.category, dir.directory.c_str(), dir.recursive, dir.priority);
        return true;
    });
    return ExitStatus::done;
}

/// The container can only be cleared as a whole, so what stays is added anew.
bool removeDir(IEditableSearchDirContainer& stored, SearchDirArgument const& dir) {
    std::string const wanted = utils::getCanonicalName(dir.directory.c_str(), true);
    auto const records = stored.enumerate(dir.category);
    if (!records)
        return false;
    stored.clear(dir.category);
    bool isRemoved = false;
    forEachDirectory(records, [&](char const* name, bool recursive, bool priority) {
        if (utils::getCanonicalName(name, true) == wanted)
            isRemoved = true;
        else
            stored.addDirectory(dir.category, name, recursive, priority);
    });
    return isRemoved;
}

ExitStatus remove(DirsOptions const& options) {
    auto const dirs = options.parsedDirs();
    std::vector<std::string> missing;
    changeStore(options.storeFile(), [&](IEditableSearchDirContainer& stored) {
        for (std::size_t i = 0; i < dirs.size(); ++i)
            if (!removeDir(stored, dirs[i]))
                missing.push_back(options.dirs[i]);
        return missing.size() < dirs.size();
    });
    for (std::string const& text : missing)
        reportError(textOf(Text::not_in_store, {text}));
    return missing.empty() ? ExitStatus::done : ExitStatus::not_found;
}

ExitStatus clear(DirsOptions const& options) {
    changeStore(options.storeFile(), [&options](IEditableSearchDirContainer& stored) {
        for (search_category_t const category : options.namedCategories())
            stored.clear(category);
        return true;
    });
    return ExitStatus::done;
}

ExitStatus list(DirsOptions const& options) {
    auto const stored = IPersistentSearchDirContainer::create(openStore(options.storeFile()));
    std::string text;
    for (search_category_t const category : options.namedCategories()) {
        auto const records = stored->enumerate(category);
        if (!records)
            continue;
        for (auto line = getSearchDirCommandLine(category, records); !line.at_end(); line.next())
            text += printable(line.get_value()) + "\n";
    }
    writeOutput(text);
    return ExitStatus::done;
}

} // namespace

void addDirsCommand(CLI::App& program, ExitStatus& exitStatus) {
    auto const options = std::make_shared<DirsOptions>();
    CLI::App& command =
        *program.add_subcommand("dirs", "Keep search directories of your own, for all searches");
    command.require_subcommand(1);

    auto const addAction = [&](char const* name, char const* description,
                               ExitStatus (*action)(DirsOptions const&)) -> CLI::App& {
        CLI::App& added = *command.add_subcommand(name, description);
        addStoreOption(added, options->store);
        added.callback([options, action, &exitStatus] { exitStatus = action(*options); });
        return added;
    };
    auto const takeDirs = [&](CLI::App& action) {
        action.add_option("DIRECTORY", options->dirs, "WORD[:FLAGS]=DIR, as find takes with -d")
            ->required()
            ->type_name(" ");
    };
    auto const takeWords = [&](CLI::App& action) {
        addChoices(action, "WORD", options->categories, c_categoryWords,
                   "Only these lists: " + joinedWords(c_categoryWords, ", ", ", "))
            ->type_name(" ");
    };
    takeDirs(addAction("add", "Add directories, or flags to directories that are there", add));
    takeWords(addAction("list", "Print the directories as find takes them with -d", list));
    takeDirs(addAction("remove", "Remove directories, whatever their flags", remove));
    takeWords(addAction("clear", "Remove all directories", clear));
}

} // namespace lokata::cli
