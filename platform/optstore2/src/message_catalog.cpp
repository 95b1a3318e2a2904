#include <optstore2/message_catalog.h>

#include "message_files.h"

#include <logmast_1/logmast_1.h>

#include <log4cplus/loggingmacros.h>
#include <toolbelt2/mutex.h>

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include <langinfo.h>
#include <locale.h>

namespace optstore2 {
namespace {

using BRACE_2_18::i18n::catalog_t;

class MessageCatalogs {
public:
    catalog_t const* get(std::string const& name, std::string const& locale);
    void setDirectory(char const* directory);

private:
    using files_t = std::vector<std::filesystem::path>;

    files_t places() const TOOLBELT2_REQUIRES(m_lock);
    messages_t const* messages(std::filesystem::path const& file) TOOLBELT2_REQUIRES(m_lock);
    catalog_t const* merged(files_t const& files) TOOLBELT2_REQUIRES(m_lock);
    void report(std::filesystem::path const& file, std::string const& fault)
        TOOLBELT2_REQUIRES(m_lock);

    log4cplus::Logger const m_logger = logmast_1::log::configureComponentLogger("optstore2");
    files_t const& m_installedPlaces = installedMessageDirectories();

    toolbelt2::mutex_t m_lock;
    std::optional<std::string> m_directory TOOLBELT2_GUARDED_BY(m_lock);
    std::map<std::filesystem::path, messages_t> m_messages TOOLBELT2_GUARDED_BY(m_lock);
    std::set<std::filesystem::path> m_reported TOOLBELT2_GUARDED_BY(m_lock);
    /// Only grows: callers hold pointers to the catalogues.
    std::map<files_t, std::unique_ptr<catalog_t const>> m_catalogs TOOLBELT2_GUARDED_BY(m_lock);
    /// By name and locale, of what the first place gave: what comes from a later one may still
    /// turn up in an earlier.
    std::map<std::pair<std::string, std::string>, catalog_t const*>
        m_answers TOOLBELT2_GUARDED_BY(m_lock);
};

/// The languages of a locale name such as "de_DE.UTF-8", nearest first, English last.
std::vector<std::string> languagesOf(std::string_view locale) {
    std::vector<std::string> languages;
    std::string_view const territory = locale.substr(0, locale.find_first_of(".@"));
    if (territory != "C" && territory != "POSIX") {
        std::string_view const language = territory.substr(0, territory.find('_'));
        for (std::string_view const each : {territory, language})
            if (languages.empty() || languages.back() != each)
                languages.emplace_back(each);
    }
    if (languages.empty() || languages.back() != "en")
        languages.emplace_back("en");
    return languages;
}

/// The name of the locale of messages. Asked of a copy of the process's locale, which glibc makes
/// under its lock: the text that `setlocale` gives is freed by the next one on any thread.
std::string localeOfProcess() {
    locale_t const copy = duplocale(LC_GLOBAL_LOCALE);
    if (copy == static_cast<locale_t>(nullptr))
        return "C";
    std::string name = nl_langinfo_l(NL_LOCALE_NAME(LC_MESSAGES), copy);
    freelocale(copy);
    return name;
}

catalog_t const* MessageCatalogs::get(std::string const& name, std::string const& locale) {
    toolbelt2::mutex_guard_t const guard(m_lock);
    std::pair const question(name, locale);
    if (auto const answer = m_answers.find(question); answer != m_answers.end())
        return answer->second;
    std::vector<std::string> const languages = languagesOf(locale);
    files_t const searched = places();
    for (std::filesystem::path const& place : searched) {
        files_t found;
        for (std::string const& language : languages) {
            std::filesystem::path file = place / name;
            (file += '.').concat(language).concat(".json");
            if (messages(file) != nullptr)
                found.push_back(std::move(file));
        }
        if (found.empty())
            continue;
        catalog_t const* const catalog = merged(found);
        if (&place == &searched.front())
            m_answers.emplace(question, catalog);
        return catalog;
    }
    return nullptr;
}

void MessageCatalogs::setDirectory(char const* directory) {
    toolbelt2::mutex_guard_t const guard(m_lock);
    m_answers.clear();
    m_directory = directory != nullptr ? std::optional<std::string>(directory) : std::nullopt;
}

MessageCatalogs::files_t MessageCatalogs::places() const {
    if (m_directory && m_directory->empty())
        return {};
    files_t places = m_installedPlaces;
    if (m_directory)
        places.emplace(places.begin(), *m_directory);
    return places;
}

messages_t const* MessageCatalogs::messages(std::filesystem::path const& file) {
    auto const known = m_messages.find(file);
    if (known != m_messages.end())
        return &known->second;
    std::string fault;
    std::optional<messages_t> read = readMessageFile(file, fault);
    if (!read) {
        report(file, fault);
        return nullptr;
    }
    return &m_messages.emplace(file, std::move(*read)).first->second;
}

catalog_t const* MessageCatalogs::merged(files_t const& files) {
    std::unique_ptr<catalog_t const>& catalog = m_catalogs[files];
    if (!catalog) {
        auto made = std::make_unique<catalog_t>();
        for (auto file = files.rbegin(); file != files.rend(); ++file)
            for (auto const& [key, text] : m_messages.at(*file))
                made->put(key, text);
        catalog = std::move(made);
    }
    return catalog.get();
}

void MessageCatalogs::report(std::filesystem::path const& file, std::string const& fault) {
    if (!fault.empty() && m_logger.isEnabledFor(log4cplus::ERROR_LOG_LEVEL) &&
        m_reported.insert(file).second)
        LOG4CPLUS_ERROR(m_logger, "The message catalogue is left out: " << file << ": " << fault);
}

/// Never destroyed: catalogues may be asked for and used by static objects on their way out.
MessageCatalogs& messageCatalogs() {
    static auto& s_catalogs = *new MessageCatalogs;
    return s_catalogs;
}

using BRACE_2_18::generic::argument;
using BRACE_2_18::generic::varg_list;
using arguments_t = std::array<argument, varg_list::position_count>;

template <std::size_t... positions>
varg_list listOf(arguments_t const& arguments, std::index_sequence<positions...> /*all*/) {
    return varg_list(arguments[positions]...);
}

varg_list numbered(std::initializer_list<std::string_view> texts) {
    arguments_t arguments;
    std::size_t count = 0;
    for (std::string_view const text : texts) {
        std::string name = "arg" + std::to_string(count + 1);
        arguments.at(count++) = {std::move(name), {std::string(text)}};
    }
    return listOf(arguments, std::make_index_sequence<varg_list::position_count>());
}

std::string untranslated(std::string const& key,
                         std::initializer_list<std::string_view> arguments) {
    std::string text = "%" + key;
    for (std::string_view const& each : arguments)
        text.append(&each == arguments.begin() ? " (" : ", ").append(each);
    return text + (arguments.size() > 0 ? ")" : "");
}

} // namespace

catalog_t const* getMessageCatalog(std::string const& name) {
    return messageCatalogs().get(name, localeOfProcess());
}

std::string messageText(std::string const& catalog, std::string const& key,
                        std::initializer_list<std::string_view> arguments) {
    catalog_t const* const texts = getMessageCatalog(catalog);
    if (texts == nullptr || texts->message(key).size() == 0)
        return untranslated(key, arguments);
    return texts->message(key).as_ustring(numbered(arguments));
}

void setMessageDirectory(char const* directory) {
    messageCatalogs().setDirectory(directory);
}

} // namespace optstore2
