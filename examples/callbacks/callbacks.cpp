// A client with a retriever, a policy and callbacks of its own: fetches a binary from "another
// machine", takes every file that a search finds, and destroys a callback while searches run on
// another thread.

#include <lokata2/lokata2.h>
#include <toolbelt2/temporary_directory.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using namespace LK_2_13;

namespace {

void expect(bool condition, char const* what) {
    std::cout << (condition ? "ok: " : "FAILED: ") << what << '\n';
    if (!condition)
        std::exit(1);
}

void write(fs::path const& file, std::string const& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << text;
}

// Another machine, played by a directory of this one.
class Retriever : public IFileRetriever {
public:
    explicit Retriever(fs::path root) : m_root(std::move(root)) {}

    int retrieveFile(char const* name, char const* targetDir) override {
        std::string const relative = fs::path(name).relative_path();
        fs::path const target = fs::path(targetDir) / relative;
        std::error_code error;
        fs::create_directories(target.parent_path(), error);
        return fs::copy_file(m_root / relative, target, error) ? 0 : 1;
    }
    int retrieveChecksum(char const*, ObjectPtr<IChecksum>&) override { return 1; }
    char const* machineName() const override { return "example"; }
    bool isLocalFile(std::string const&) override { return false; }

private:
    fs::path m_root;
};

class CollectAll : public FilesFoundCallback {
public:
    ~CollectAll() override { disconnectHandlers(); }

    std::vector<std::string> names() const { return m_names; }

private:
    ObjectPtr<IValidFile> filesFound(RequestedFile const&, IValidFileIterator& files) override {
        ObjectPtr<IValidFile> const first = files.next();
        for (ObjectPtr<IValidFile> file = first; file; file = files.next())
            m_names.emplace_back(file->name());
        return first;
    }

    std::vector<std::string> m_names;
};

// Tells what was rejected, with the reason, and takes the first file that was found.
class ReportRejected : public NoFilesFoundCallback {
public:
    ~ReportRejected() override { disconnectHandlers(); }

    std::vector<std::string> lines() const { return m_lines; }

private:
    ObjectPtr<IValidFile> noFilesFound(RequestedFile const&, IValidator&,
                                       IInvalidFileIterator& invalidFiles,
                                       IValidFileIterator& validFiles) override {
        for (auto file = invalidFiles.next(); file; file = invalidFiles.next())
            m_lines.push_back(std::string(file->name()) + ": " + file->errorMessage());
        return validFiles.next();
    }

    std::vector<std::string> m_lines;
};

class PassOn : public SearchStartedCallback {
public:
    ~PassOn() override { disconnectHandlers(); }

private:
    bool searchStarted(RequestedFile const&, IStringContainer& suggestions) override {
        suggestions.add(m_suggestion.c_str());
        return true;
    }

    std::string m_suggestion = "/a/suggestion/long/enough/to/live/on/the/heap";
};

class OnlyInDirectory : public IValidatorCallback {
public:
    explicit OnlyInDirectory(std::string directory) : m_directory(std::move(directory)) {}

    validation_result_t validate(char const* fileName, IErrorInfoContainer& errorInfo) override {
        if (std::string(fileName).find(m_directory) != std::string::npos)
            return vrValid;
        errorInfo.setSeverity(svWarning);
        errorInfo.setErrorMessage("The file lies in the wrong directory.");
        return vrInvalid;
    }

private:
    std::string m_directory;
};

} // namespace

int main() {
    toolbelt2::temporary_directory_t const directory("lokata-example-");
    fs::path const scratch = directory.path();
    write(scratch / "remote/opt/app/tool", "remote tool");
    write(scratch / "a/tool", "one tool");
    write(scratch / "b/tool", "another tool");
    fs::create_directory(scratch / "cache");

    auto const manager = IResolutionContextMgr::create();
    auto const context = manager->createFileSystemContext(scratch.c_str(), false);
    manager->registerCacheDir(*context, (scratch / "cache").c_str());

    Retriever retriever(scratch / "remote");
    manager->registerFileRetriever(*context, "fetching", &retriever);
    auto const fetching = manager->createFileSearch(*context, "fetching", nullptr);
    auto const fetched = fetching->findBinFile("/opt/app/tool", nullptr, nullptr, 0);
    expect(fetched && std::string(fetched->name()).find((scratch / "cache").string()) == 0,
           "a retrieved file lies in the cache directory");
    expect(fetched->searchStep() == ssAbsoluteNameLookup, "and was found by its absolute name");
    manager->registerFileRetriever(*context, "fetching", nullptr);

    auto const dirs = IEditableSearchDirContainer::create();
    dirs->addDirectory(scAllFiles, (scratch / "a").c_str(), false, true);
    dirs->addDirectory(scAllFiles, (scratch / "b").c_str(), false, false);
    manager->registerSearchDirs(*context, dirs, "directories");

    CollectAll all;
    manager->registerFilesFoundCallback(*context, "all", &all);
    manager->createFileSearch(*context, "all", nullptr)->findBinFile("tool", nullptr, nullptr, 0);
    expect(all.names().size() == 2, "a files-found callback gets the files of all steps");

    OnlyInDirectory validator("/b/");
    auto const plain = manager->createFileSearch(*context, "plain", nullptr);
    auto const chosen = plain->findBinFile("tool", &validator, nullptr, 0);
    expect(chosen && chosen->name() == (scratch / "b/tool").string() &&
               chosen->confidence() == cfValidated,
           "a validator decides between namesakes");

    TakeNoFile takeNone;
    ReportRejected report;
    manager->registerFilesFoundCallback(*context, "both", &takeNone);
    manager->registerNoFilesFoundCallback(*context, "both", &report);
    auto const both = manager->createFileSearch(*context, "both", nullptr);
    auto const reported = both->findBinFile("tool", &validator, nullptr, 0);
    expect(reported && reported->name() == (scratch / "b/tool").string() &&
               report.lines() ==
                   std::vector<std::string>{(scratch / "a/tool").string() +
                                            ": The file lies in the wrong directory."},
           "one callback sees what was found and what was rejected");

    std::atomic<int> found{0};
    for (int round = 0; round < 20; ++round) {
        auto passing = std::make_unique<PassOn>();
        manager->registerSearchStartedCallback(*context, "threads", passing.get());
        std::thread searcher([&, search = manager->createFileSearch(*context, "threads", nullptr)] {
            for (int i = 0; i < 20; ++i)
                found += search->findBinFile("tool", nullptr, nullptr, 0) ? 1 : 0;
        });
        passing.reset();
        searcher.join();
    }
    expect(found == 400, "searches go on while their callback is destroyed on another thread");
}
