#pragma once

#include "lk_search_contracts.h"
#include "lk_search_types.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace LK_2_13::test {

/// A strategy whose steps offer given candidates and write down that they ran.
class ScriptedStrategy final : public IFileSearchStrategy {
public:
    bool callSearchStarted(ISearchStartedCallback& callback,
                           IStringContainer& suggestions) override {
        return callback.binFileSearchStarted("file", suggestions);
    }
    bool findInArchiveDirs(ISearchResultsContainer& results) override {
        return run(ssArchiveSearchDirs, results);
    }
    bool findInHighPriorityDirs(ISearchResultsContainer& results) override {
        return run(ssHighPrioritySearchDirs, results);
    }
    bool lookUpAbsoluteName(ISearchResultsContainer& results) override {
        return run(ssAbsoluteNameLookup, results);
    }
    bool lookUpAroundBinary(ISearchResultsContainer& results) override {
        return run(ssAroundBinaryLookup, results);
    }
    bool findInLowPriorityDirs(ISearchResultsContainer& results) override {
        return run(ssLowPrioritySearchDirs, results);
    }
    bool findInSystemDirs(ISearchResultsContainer& results) override {
        return run(ssSystemDirs, results);
    }
    bool findInCacheDir(ISearchResultsContainer& results) override {
        return run(ssCacheSearchDir, results);
    }
    ObjectPtr<IValidFile> callFilesFound(IFilesFoundCallback& callback,
                                         IValidFileIterator& files) override {
        return callback.binFilesFound("file", files);
    }
    ObjectPtr<IValidFile> callNoFilesFound(INoFilesFoundCallback& callback,
                                           IInvalidFileIterator& invalidFiles,
                                           IValidFileIterator& validFiles) override {
        return callback.noBinFilesFound("file", *validator, invalidFiles, validFiles);
    }
    ISearchEnv* getSearchEnv() const override { return nullptr; }
    char const* fileToSearch() override { return "file"; }
    ObjectPtr<ISearchStepsIterator>
    getSearchStepsIterator(unsigned long long stepsSelector) override {
        selector = stepsSelector;
        return steps;
    }

    std::map<search_step_t, std::vector<std::string>> candidates;
    std::vector<search_step_t> ran;
    ObjectPtr<ISearchStepsIterator> steps =
        ISearchStepsConfigurator::create()->getSearchStepsIterator(scBinaryFiles, 0);
    unsigned long long selector = 0;
    IValidator* validator = nullptr;

private:
    bool run(search_step_t step, ISearchResultsContainer& results) {
        ran.push_back(step);
        for (std::string const& candidate : candidates[step])
            if (results.validateAndAdd(candidate.c_str(), step))
                return true;
        return false;
    }
};

/// Finds all files valid but those that it is told to reject.
class ScriptedValidator final : public IValidatorInternal {
public:
    ObjectPtr<IValidatedFile> validate(char const* fileName) override {
        return validateInternal(fileName, ssAskUser);
    }
    ObjectPtr<IValidatedFile> validateInternal(char const* fileName, unsigned int step) override {
        asked.emplace_back(fileName);
        auto const searchStep = static_cast<search_step_t>(step);
        if (rejected.count(fileName) != 0)
            return new ValidatedFile(*new InvalidFile(fileName, svWarning, "rejected", searchStep));
        return new ValidatedFile(*new ValidFile(fileName, cfValidated, searchStep));
    }

    std::set<std::string> rejected;
    std::vector<std::string> asked;
};

/// The names that an iterator still gives.
template <class TIterator>
std::vector<std::string> namesOf(TIterator& files) {
    std::vector<std::string> result;
    while (auto const file = files.next())
        result.emplace_back(file->name());
    return result;
}

} // namespace LK_2_13::test
