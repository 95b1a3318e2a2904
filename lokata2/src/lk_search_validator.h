#pragma once

#include "lk_search_contracts.h"
#include "lk_validator_decorator.h"

#include <string>

namespace LK_2_13 {

/// The verdict on the candidates of one search. Puts together the file checks, the client's
/// validator, the checksum that a file retriever reports for cached files, and the confidence
/// policy. On the stack of the search operation, on its thread. What callbacks throw passes
/// through.
class Validator final : public IValidatorInternal {
public:
    /// Nothing is owned. `policy` is never null; `callback` may be, and so may `retriever`, which
    /// only a binary search has. `fileName` is the name that the search is for, as the caller wrote
    /// it, empty for symbol and source files; it is used for the retriever alone.
    Validator(IValidatorCallback* callback, IConfidenceLevelPolicyCallback* policy,
              search_category_t category, IFileRetriever* retriever, char const* fileName);

    ObjectPtr<IValidatedFile> validate(char const* fileName) override;
    ObjectPtr<IValidatedFile> validateInternal(char const* fileName, unsigned int step) override;

private:
    class ErrorInfoContainer;

    /// True if a cached file differs from the one that was recorded. No failure on the way to
    /// knowing that rejects a file.
    bool hasOtherChecksum(char const* fileName);
    void retrieveChecksum();

    ValidatorCallbackDecorator m_decorator;
    IConfidenceLevelPolicyCallback* m_pConfidencePolicy;
    search_category_t m_category;
    /// Null until the retriever has given it, then kept for the rest of the search.
    ObjectPtr<IChecksum> m_pChecksum;
    IFileRetriever* m_pFileRetriever;
    std::string m_fileName;
};

} // namespace LK_2_13
