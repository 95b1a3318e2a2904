#include <lokata/profile/identity_validators.h>

#include "search/identity.h"

namespace lokata::profile {

using namespace LK_2_13;

namespace {

/// A validator with the cache that it needs.
template <class Validator, class Expected>
class OwnValidator final : public IValidatorCallback {
public:
    OwnValidator(std::unique_ptr<ElfFactsCache> cache, Expected expected)
        : m_cache(std::move(cache)), m_validator(*m_cache, std::move(expected)) {}

    validation_result_t validate(char const* fileName, IErrorInfoContainer& errorInfo) override {
        return m_validator.validate(fileName, errorInfo);
    }

private:
    std::unique_ptr<ElfFactsCache> m_cache;
    Validator m_validator;
};

using OwnSymbolValidator = OwnValidator<SymbolValidator, SymbolOwner>;

} // namespace

std::unique_ptr<IValidatorCallback> createBinaryValidator(BuildId const& buildId) {
    return std::make_unique<OwnValidator<BinaryValidator, BuildId>>(
        std::make_unique<ElfFactsCache>(), buildId);
}

std::unique_ptr<IValidatorCallback> createSymbolValidator(BuildId const& buildId) {
    return std::make_unique<OwnSymbolValidator>(std::make_unique<ElfFactsCache>(),
                                                SymbolOwner{"", buildId, std::nullopt, 0});
}

std::unique_ptr<IValidatorCallback> createSymbolValidatorFor(std::string const& binary) {
    auto cache = std::make_unique<ElfFactsCache>();
    auto const facts = cache->facts(binary);
    if (!facts->error.empty() && facts->build_id.empty())
        return nullptr;
    SymbolOwner owner = symbolOwner(*cache, binary, {});
    return std::make_unique<OwnSymbolValidator>(std::move(cache), std::move(owner));
}

} // namespace lokata::profile
