#pragma once

#include <lokata2/callbacks.h>
#include <lokata2/search_types.h>
#include <lokata2/validator.h>

#include <herald2/messenger.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace LK_2_13::test {

/// The callbacks of a client. Each does for every category what its function says, and writes down
/// what it was asked last.

inline std::string textOf(RequestedFile const& file) {
    return std::to_string(file.category) + " " + file.file_name + " " + file.binary_name + " " +
           file.checksum;
}

/// Goes on without a function.
class Started final : public SearchStartedCallback {
public:
    ~Started() override { disconnectHandlers(); }

    std::function<bool(char const*, IStringContainer&)> on_started;
    std::string asked;

private:
    bool searchStarted(RequestedFile const& file, IStringContainer& suggestions) override {
        asked = textOf(file);
        return !on_started || on_started(file.file_name, suggestions);
    }
};

/// Takes the next file without a function.
class Found final : public FilesFoundCallback {
public:
    ~Found() override { disconnectHandlers(); }

    std::function<ObjectPtr<IValidFile>(IValidFileIterator&)> choose;
    std::string asked;

private:
    ObjectPtr<IValidFile> filesFound(RequestedFile const& file,
                                     IValidFileIterator& files) override {
        asked = textOf(file);
        return choose ? choose(files) : files.next();
    }
};

/// Takes the next valid file without a function.
class NotFound final : public NoFilesFoundCallback {
public:
    ~NotFound() override { disconnectHandlers(); }

    std::function<ObjectPtr<IValidFile>(IValidator&, IInvalidFileIterator&, IValidFileIterator&)>
        resolve;
    std::string asked;

private:
    ObjectPtr<IValidFile> noFilesFound(RequestedFile const& file, IValidator& validator,
                                       IInvalidFileIterator& invalid,
                                       IValidFileIterator& valid) override {
        asked = textOf(file);
        return resolve ? resolve(validator, invalid, valid) : valid.next();
    }
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

/// Gives `answer`, but rejects some files; with a reason unless it is that the file is valid.
class UserValidator final : public IValidatorCallback {
public:
    validation_result_t validate(char const* fileName, IErrorInfoContainer& errorInfo) override {
        asked.emplace_back(fileName);
        validation_result_t const result = rejected.count(fileName) != 0 ? vrInvalid : answer;
        if (result != vrValid) {
            errorInfo.setSeverity(svWarning);
            errorInfo.setErrorMessage("no match");
            errorInfo.setErrorMessage(nullptr);
        }
        return result;
    }

    validation_result_t answer = vrUndecided;
    std::set<std::string> rejected;
    std::vector<std::string> asked;
};

/// The names that an iterator still gives.
inline std::vector<std::string> namesOf(IValidFileIterator& files) {
    std::vector<std::string> result;
    while (auto const file = files.next())
        result.emplace_back(file->name());
    return result;
}

class Messenger final : public herald2::IMessenger {
public:
    void message(char const*) override {}
};

} // namespace LK_2_13::test
