#pragma once

#include "lk_search_contracts.h"

#include <list>
#include <string>
#include <string_view>
#include <unordered_set>

namespace LK_2_13 {

/// The working memory of one search, on the stack of its driver. To the driver and the files-found
/// callback it is an iterator that runs search steps only when the files found so far are used up;
/// to the strategy it is the one gate that every candidate passes.
///
/// Strategy and validator must outlive it. It belongs to the thread of its search. What the steps
/// throw passes through, and the lists stay as they were.
class FoundFilesLazyIterator : public IValidFileIterator, public ISearchResultsContainer {
public:
    /// Over a list of found files alone: never runs a step. It is not positioned before the first
    /// `reset`.
    template <class TFile, class TIterator>
    class FilesIterator final : public TIterator {
    public:
        explicit FilesIterator(std::list<ObjectPtr<TFile>> const& files)
            : m_pFiles(&files), m_current(files.end()) {}

        void reset() override { m_current = m_pFiles->begin(); }
        ObjectPtr<TFile> next() override {
            if (m_current == m_pFiles->end())
                return {};
            return *m_current++;
        }

    private:
        std::list<ObjectPtr<TFile>> const* m_pFiles;
        typename std::list<ObjectPtr<TFile>>::const_iterator m_current;
    };

    FoundFilesLazyIterator(IFileSearchStrategy& strategy, IValidatorInternal& validator,
                           unsigned long long stepsSelector);
    virtual ~FoundFilesLazyIterator() = default;
    FoundFilesLazyIterator(FoundFilesLazyIterator const&) = delete;
    FoundFilesLazyIterator& operator=(FoundFilesLazyIterator const&) = delete;

    /// Goes back to the first file found. The steps are not rewound: behind the files found so far
    /// come those of the steps that are left.
    void reset() override;
    /// A step is run once and never resumed: it stops at its first new file, and the next call that
    /// finds no file at hand runs the step behind it. After a step it calls itself anew, through
    /// the virtual table.
    ObjectPtr<IValidFile> next() override;

    /// True only for a new valid file. A missing candidate leaves no trace. Within each list the
    /// first entry of a path stays, whatever a later one would say of it; the two lists are not
    /// compared with each other.
    bool validateAndAdd(char const* fileName, unsigned int step) override;

    void processSuggestedResolution(char const* fileName);

    FilesIterator<IValidFile, IValidFileIterator>* currentlyFoundValid() {
        return &m_validIterator;
    }
    FilesIterator<IInvalidFile, IInvalidFileIterator>* currentlyFoundInvalid() {
        return &m_invalidIterator;
    }

private:
    bool runStep(search_step_t step);
    bool addValid(ObjectPtr<IValidFile> const& file, char const* candidate);
    void addInvalid(ObjectPtr<IInvalidFile> const& file, char const* candidate);

    IFileSearchStrategy& m_strategy;
    IValidatorInternal& m_validator;
    std::list<ObjectPtr<IValidFile>> m_validFiles;
    std::list<ObjectPtr<IInvalidFile>> m_invalidFiles;
    FilesIterator<IValidFile, IValidFileIterator> m_validIterator;
    FilesIterator<IInvalidFile, IInvalidFileIterator> m_invalidIterator;
    /// What `next` gives; the end when all found files were given out.
    std::list<ObjectPtr<IValidFile>>::iterator m_current;
    /// Null if the strategy gave none; the search then has no steps.
    ObjectPtr<ISearchStepsIterator> m_pStepsIterator;
    /// The names of the files in each list, which own the texts: a search may reject very many
    /// namesakes, and each is compared with all before it.
    std::unordered_set<std::string_view> m_validNames;
    std::unordered_set<std::string_view> m_invalidNames;
};

/// True if a name is a rooted Linux path, possibly written with backslashes; they are then replaced
/// by slashes in place. False, and nothing changed, for an empty and a relative name, a name that
/// begins with two slashes or two backslashes or with a drive letter, and for a lone backslash.
bool fixLinuxName(std::string& name);

} // namespace LK_2_13
