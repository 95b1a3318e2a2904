#pragma once

#include <lokata2/callbacks.h>
#include <lokata2/search_env.h>
#include <lokata2/search_steps.h>
#include <lokata2/validator.h>

#include <string>

/// The seams between the working objects of one search. All of them live on the stack of a search
/// operation and are never destroyed through these interfaces.
namespace LK_2_13 {

class ISearchResultsContainer {
public:
    /// Offers a candidate. True means that it was accepted and that the running step must stop at
    /// once and return true; false, that the step goes on with its next candidate.
    virtual bool validateAndAdd(char const* fileName, unsigned int searchStep) = 0;

protected:
    ~ISearchResultsContainer() = default;
};

class IValidatorInternal : public IValidator {
public:
    /// The verdict on a candidate of a step; never null. The low 16 bits of `step` are the step of
    /// the result, only the confidence policy sees the whole value.
    virtual ObjectPtr<IValidatedFile> validateInternal(char const* fileName, unsigned int step) = 0;

protected:
    ~IValidatorInternal() = default;
};

/// What each step of a search does for one file of one category. Operations of steps return true if
/// a candidate was accepted.
class IFileSearchStrategy {
public:
    virtual bool callSearchStarted(ISearchStartedCallback&, IStringContainer&) = 0;
    virtual bool findInArchiveDirs(ISearchResultsContainer&) = 0;
    virtual bool findInHighPriorityDirs(ISearchResultsContainer&) = 0;
    virtual bool lookUpAbsoluteName(ISearchResultsContainer&) = 0;
    virtual bool lookUpAroundBinary(ISearchResultsContainer&) = 0;
    virtual bool findInLowPriorityDirs(ISearchResultsContainer&) = 0;
    virtual bool findInSystemDirs(ISearchResultsContainer&) = 0;
    virtual bool findInCacheDir(ISearchResultsContainer&) = 0;
    virtual ObjectPtr<IValidFile> callFilesFound(IFilesFoundCallback&, IValidFileIterator&) = 0;
    virtual ObjectPtr<IValidFile> callNoFilesFound(INoFilesFoundCallback&, IInvalidFileIterator&,
                                                   IValidFileIterator&) = 0;
    /// Null if the search has no environment.
    virtual ISearchEnv* getSearchEnv() const = 0;
    virtual char const* fileToSearch() = 0;
    virtual ObjectPtr<ISearchStepsIterator>
    getSearchStepsIterator(unsigned long long stepsSelector) = 0;

protected:
    ~IFileSearchStrategy() = default;
};

} // namespace LK_2_13
