#include "lk_search_kernel.h"

#include "lk_path.h"

#include <lokata2/checksum.h>
#include <lokata2/utils.h>
#include <optstore2/product_locations.h>
#include <toolbelt2/text.h>

namespace LK_2_13 {

namespace {

bool isValid(ObjectPtr<IValidatedFile> const& validated) {
    return validated && validated->validFile();
}

} // namespace

bool isCompressedKernelName(char const* fileName) {
    return toolbelt2::starts_with(paths::fileName(fileName), VMLINUZ);
}

bool substituteKernelImage(IValidatorInternal& validator, char const* fileName, unsigned int step,
                           ObjectPtr<IValidatedFile>& validated, std::string& unpackedName) {
    ObjectPtr<IChecksumCalculator> const calculator = IChecksumCalculator::create();
    if (!calculator)
        return false;
    ObjectPtr<IChecksum> const checksum = calculator->calculateChecksum(fileName, ctMd5);
    if (!checksum)
        return false;

    std::string const location = optstore2::IProductLocations::get()->getTempDirectory();
    if (location.empty())
        return true;
    std::string const cacheRoot = paths::join(location, "vmlinux_cache");
    std::string const entry = paths::join(cacheRoot, checksum->value());
    std::string cachedFile = paths::join(entry, "vmlinux");

    // Results of `createDir` do not matter: what cannot be made shows as a failed extraction.
    ObjectPtr<IValidatedFile> cached;
    if (utils::fileExists(cachedFile.c_str())) {
        cached = validator.validateInternal(cachedFile.c_str(), step);
    } else {
        utils::createDir(cacheRoot.c_str());
        utils::createDir(entry.c_str());
    }
    if (!isValid(cached) &&
        utils::extractVmlinux(validated->validFile()->name(), cachedFile.c_str()))
        cached = validator.validateInternal(cachedFile.c_str(), step);

    if (isValid(cached)) {
        validated = cached;
        unpackedName = std::move(cachedFile);
    }
    return true;
}

} // namespace LK_2_13
