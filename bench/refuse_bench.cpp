/// The candidate that does not exist, which is what nearly every candidate of a search is, beside
/// the one question to the file system that it takes.
#include "bench_support.h"

#include "lk_search_impl.h"

#include <sys/stat.h>

namespace {

using namespace LK_2_13;

constexpr char const* c_missingFile = "/usr/lib/x86_64-linux-gnu/libabsent.so.1";

class NeverAsked final : public IValidatorInternal {
public:
    ObjectPtr<IValidatedFile> validate(char const*) override { return {}; }
    ObjectPtr<IValidatedFile> validateInternal(char const*, unsigned int) override { return {}; }
};

class NoSteps final : public IFileSearchStrategy {
public:
    bool callSearchStarted(ISearchStartedCallback&, IStringContainer&) override { return true; }
    bool findInArchiveDirs(ISearchResultsContainer&) override { return false; }
    bool findInHighPriorityDirs(ISearchResultsContainer&) override { return false; }
    bool lookUpAbsoluteName(ISearchResultsContainer&) override { return false; }
    bool lookUpAroundBinary(ISearchResultsContainer&) override { return false; }
    bool findInLowPriorityDirs(ISearchResultsContainer&) override { return false; }
    bool findInSystemDirs(ISearchResultsContainer&) override { return false; }
    bool findInCacheDir(ISearchResultsContainer&) override { return false; }
    ObjectPtr<IValidFile> callFilesFound(IFilesFoundCallback&, IValidFileIterator&) override {
        return {};
    }
    ObjectPtr<IValidFile> callNoFilesFound(INoFilesFoundCallback&, IInvalidFileIterator&,
                                           IValidFileIterator&) override {
        return {};
    }
    ISearchEnv* getSearchEnv() const override { return nullptr; }
    char const* fileToSearch() override { return ""; }
    ObjectPtr<ISearchStepsIterator> getSearchStepsIterator(unsigned long long selector) override {
        return ISearchStepsConfigurator::create()->getSearchStepsIterator(scBinaryFiles, selector);
    }
};

void refuseMissing(benchmark::State& state) {
    NoSteps strategy;
    NeverAsked validator;
    FoundFilesLazyIterator results(strategy, validator, 0);
    ISearchResultsContainer& gate = results;
    for ([[maybe_unused]] auto _ : state)
        bench::require(!gate.validateAndAdd(c_missingFile, ssHighPrioritySearchDirs),
                       "accepted a missing file");
}

void bareStat(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        struct stat status {};
        bench::require(::stat(c_missingFile, &status) != 0, "found a missing file");
    }
}

BENCHMARK(refuseMissing);
BENCHMARK(bareStat);

} // namespace
