#include "commands/unpack_kernel.h"

#include "console/failure.h"
#include "console/output.h"

#include <lokata/profile/kernel_cache.h>

#include <memory>

namespace lokata::cli {
namespace {

struct UnpackOptions {
    std::string image;
    std::string target;
};

profile::UnpackedKernel unpackIntoCache(std::string const& image) {
    profile::UnpackedKernel kernel = profile::unpackedKernel(image);
    if (kernel.path.empty())
        kernel.error.insert(0, image + ": ");
    return kernel;
}

ExitStatus run(UnpackOptions const& options) {
    profile::UnpackedKernel const kernel =
        options.target.empty() ? unpackIntoCache(options.image)
                               : profile::unpackKernelTo(options.image, options.target);
    if (kernel.path.empty())
        throw Failure(kernel.error);
    writeOutput(kernel.path + "\n");
    return ExitStatus::done;
}

} // namespace

void addUnpackKernelCommand(CLI::App& program, ExitStatus& exitStatus) {
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
