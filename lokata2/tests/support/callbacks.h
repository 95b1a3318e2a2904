#pragma once

#include <lokata2/callbacks.h>
#include <lokata2/search_types.h>

#include <herald2/messenger.h>

#include <functional>

namespace LK_2_13::test {

// The callbacks of a client. Each does for every category what its function says.

/// Goes on without a function.
class Started final : public ISearchStartedCallback {
public:
    ~Started() override { disconnectHandlers(); }
    bool binFileSearchStarted(char const* fileName, IStringContainer& suggestions) override {
        return !on_started || on_started(fileName, suggestions);
    }
    bool symFileSearchStarted(char const* fileName, char const*, char const*,
                              IStringContainer& suggestions) override {
        return binFileSearchStarted(fileName, suggestions);
    }
    bool srcFileSearchStarted(char const* fileName, char const*, char const*,
                              IStringContainer& suggestions) override {
        return binFileSearchStarted(fileName, suggestions);
    }

    std::function<bool(char const*, IStringContainer&)> on_started;
};

/// Takes the next file without a function.
class Found final : public IFilesFoundCallback {
public:
    ~Found() override { disconnectHandlers(); }
    ObjectPtr<IValidFile> binFilesFound(char const*, IValidFileIterator& files) override {
        return choose ? choose(files) : files.next();
    }
    ObjectPtr<IValidFile> symFilesFound(char const* name, char const*, char const*,
                                        IValidFileIterator& files) override {
        return binFilesFound(name, files);
    }
    ObjectPtr<IValidFile> srcFilesFound(char const* name, char const*, char const*,
                                        IValidFileIterator& files) override {
        return binFilesFound(name, files);
    }

    std::function<ObjectPtr<IValidFile>(IValidFileIterator&)> choose;
};

/// Takes the next valid file without a function.
class NotFound final : public INoFilesFoundCallback {
public:
    ~NotFound() override { disconnectHandlers(); }
    ObjectPtr<IValidFile> noBinFilesFound(char const*, IValidator& validator,
                                          IInvalidFileIterator& invalid,
                                          IValidFileIterator& valid) override {
        return resolve ? resolve(validator, invalid, valid) : valid.next();
    }
    ObjectPtr<IValidFile> noSymFilesFound(char const* name, char const*, char const*,
                                          IValidator& validator, IInvalidFileIterator& invalid,
                                          IValidFileIterator& valid) override {
        return noBinFilesFound(name, validator, invalid, valid);
    }
    ObjectPtr<IValidFile> noSrcFilesFound(char const* name, char const*, char const*,
                                          IValidator& validator, IInvalidFileIterator& invalid,
                                          IValidFileIterator& valid) override {
        return noBinFilesFound(name, validator, invalid, valid);
    }

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
    void message(char const*) override {}
};

} // namespace LK_2_13::test
