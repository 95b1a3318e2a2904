#include <lokata2/lokata2.h>

#include <fstream>
#include <iostream>

using namespace LK_2_13;

// Takes any ELF file and rejects everything else.
class ElfValidator : public IValidatorCallback {
    validation_result_t validate(char const* fileName, IErrorInfoContainer& errorInfo) override {
        char magic[4] = {};
        std::ifstream(fileName, std::ios::binary).read(magic, sizeof magic);
        if (std::string(magic, sizeof magic) == "\177ELF")
            return vrValid;
        errorInfo.setSeverity(svError);
        errorInfo.setErrorMessage("The file is not in ELF format.");
        return vrInvalid;
    }
};

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    auto const manager = IResolutionContextMgr::create();
    auto const context = manager->createFileSystemContext(argv[1], false);
    auto const dirs = IEditableSearchDirContainer::create();
    dirs->addDirectory(scBinaryFiles, argv[1], true, true);
    manager->registerSearchDirs(*context, dirs, "mine");

    ElfValidator validator;
    auto const search = manager->createFileSearch(*context, "example", nullptr);
    auto const file = search->findBinFile(argv[2], &validator, nullptr, 0);
    std::cout << (file ? file->name() : "not found") << '\n';
    return file ? 0 : 1;
}
