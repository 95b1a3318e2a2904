#include "commands/unpack_kernel.h"

#include "console/failure.h"
#include "console/output.h"

#include <unpack/kernel_payload.h>

#include <lokata2/checksum.h>

#include <optstore2/product_locations.h>

#include <filesystem>
#include <memory>

using namespace LK_2_13;
namespace fs = std::filesystem;

namespace lokata::cli {
namespace {

struct UnpackOptions {
    std::string image;
    std::string target;
};

// Where a search looks for the unpacked copy of this very image, see `utils::extractVmlinux`'s
// callers: "vmlinux_cache", the MD5 of the image, "vmlinux".
std::string kernelCacheEntry(std::string const& image) {
    std::string const root = optstore2::IProductLocations::get()->getTempDirectory();
    if (root.empty())
        throw Failure("there is no private directory for the kernel cache; name a TARGET");
    auto const checksum = IChecksumCalculator::create()->calculateChecksum(image.c_str(), ctMd5);
    if (!checksum)
        throw Failure(image + ": cannot be read to its end");
    fs::path const entry = fs::path(root) / "vmlinux_cache" / checksum->value();
    std::error_code error;
    fs::create_directories(entry, error);
    if (error)
        throw Failure(entry.string() + ": " + error.message());
    return (entry / "vmlinux").string();
}

int run(UnpackOptions const& options) {
    unpack::FindResult const found = unpack::findPayload(options.image);
    if (!found.payload)
        throw Failure(found.message);
    std::string const target =
        options.target.empty() ? kernelCacheEntry(options.image) : options.target;
    unpack::UnpackResult const result = unpack::unpackKernel(options.image, target);
    if (!result.ok)
        throw Failure(result.message);
    writeOutput(target + "\n");
    return esDone;
}

} // namespace

void addUnpackKernelCommand(CLI::App& program, int& exitStatus) {
    auto const options = std::make_shared<UnpackOptions>();
    CLI::App& command = *program.add_subcommand(
        "unpack-kernel", "Unpack a compressed kernel image and print the place of the kernel");
    command.add_option("IMAGE", options->image, "The image, such as /boot/vmlinuz-6.1.0")
        ->required()
        ->type_name(" ")
        ->check(CLI::Validator(CLI::ExistingFile).description(""));
    command
        .add_option("TARGET", options->target,
                    "The file to make; without it, the place where a search looks for the "
                    "unpacked copy of this image")
        ->type_name(" ");
    command.callback([options, &exitStatus] { exitStatus = run(*options); });
}

} // namespace lokata::cli
