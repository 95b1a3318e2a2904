#pragma once

#include <lokata2/callbacks.h>
#include <lokata2/search_types.h>

#include <herald2/messenger.h>

#include <functional>
#include <string>

namespace LK_2_13::test {

// The callbacks of a client. Each does for every category what its function says and remembers what
// it heard last.

/// What a callback for a symbol or source file hears.
inline std::string request(char const* category, char const* fileName, char const* binaryName,
                           char const* checksum) {
    return std::string(category) + " " + fileName + " " + binaryName + " " + checksum;
}

/// Goes on without a function.
class Started final : public ISearchStartedCallback {
public:
    ~Started() override { disconnectHandlers(); }
    bool binFileSearchStarted(char const* fileName, IStringContainer& suggestions) override {
        heard = fileName;
        return !onStarted || onStarted(fileName, suggestions);
    }
    bool symFileSearchStarted(char const* fileName, char const* binary, char const* checksum,
                              IStringContainer& suggestions) override {
        return binFileSearchStarted(request("sym", fileName, binary, checksum).c_str(),
                                    suggestions);
    }
    bool srcFileSearchStarted(char const* fileName, char const* binary, char const* checksum,
                              IStringContainer& suggestions) override {
        return binFileSearchStarted(request("src", fileName, binary, checksum).c_str(),
                                    suggestions);
    }

    std::string heard;
    std::function<bool(char const*, IStringContainer&)> onStarted;
};

/// Takes the next file without a function.
class Found final : public IFilesFoundCallback {
public:
    ~Found() override { disconnectHandlers(); }
    ObjectPtr<IValidFile> binFilesFound(char const* fileName, IValidFileIterator& files) override {
        heard = fileName;
        return choose ? choose(files) : files.next();
    }
    ObjectPtr<IValidFile> symFilesFound(char const* name, char const* binary, char const* checksum,
                                        IValidFileIterator& files) override {
        return binFilesFound(request("sym", name, binary, checksum).c_str(), files);
    }
    ObjectPtr<IValidFile> srcFilesFound(char const* name, char const* binary, char const* checksum,
                                        IValidFileIterator& files) override {
        return binFilesFound(request("src", name, binary, checksum).c_str(), files);
    }

    std::string heard;
    std::function<ObjectPtr<IValidFile>(IValidFileIterator&)> choose;
};

/// Takes the next valid file without a function.
class NotFound final : public INoFilesFoundCallback {
public:
    ~NotFound() override { disconnectHandlers(); }
    ObjectPtr<IValidFile> noBinFilesFound(char const* fileName, IValidator& validator,
                                          IInvalidFileIterator& invalid,
                                          IValidFileIterator& valid) override {
        heard = fileName;
        return resolve ? resolve(validator, invalid, valid) : valid.next();
    }
    ObjectPtr<IValidFile> noSymFilesFound(char const* name, char const* binary,
                                          char const* checksum, IValidator& validator,
                                          IInvalidFileIterator& invalid,
                                          IValidFileIterator& valid) override {
        return noBinFilesFound(request("sym", name, binary, checksum).c_str(), validator, invalid,
                               valid);
    }
    ObjectPtr<IValidFile> noSrcFilesFound(char const* name, char const* binary,
                                          char const* checksum, IValidator& validator,
                                          IInvalidFileIterator& invalid,
                                          IValidFileIterator& valid) override {
        return noBinFilesFound(request("src", name, binary, checksum).c_str(), validator, invalid,
                               valid);
    }

    std::string heard;
    std::function<ObjectPtr<IValidFile>(IValidator&, IInvalidFileIterator&, IValidFileIterator&)>
        resolve;
};

/// Accepts as low without a function.
class Policy final : public IConfidenceLevelPolicyCallback {
public:
    ~Policy() override { disconnectHandlers(); }
    confidence_level_t getConfidenceLevel(search_category_t category, unsigned int step) override {
        return answer ? answer(category, step) : clAcceptLow;
    }

    std::function<confidence_level_t(search_category_t, unsigned int)> answer;
};

class Messenger final : public herald2::IMessenger {
public:
    void message(herald2::message_kind_t, char const*) override {}
};

} // namespace LK_2_13::test
