#pragma once

#include <lokata2/checksum.h>
#include <lokata2/file_retriever.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace LK_2_13::test {

/// Has "content" under every name that is not local, and one checksum for all. Writes down what
/// it is asked for.
class Retriever final : public IFileRetriever {
public:
    int retrieveFile(char const* name, char const* targetDir) override {
        asked.push_back(std::string(name) + " to " + targetDir);
        if (result == 0 && copies) {
            std::string const target = std::string(targetDir) + "/" + name;
            std::filesystem::create_directories(std::filesystem::path(target).parent_path());
            std::ofstream(target) << "content";
        }
        return result;
    }
    int retrieveChecksum(char const* name, ObjectPtr<IChecksum>& checksum) override {
        asked.emplace_back(name);
        checksum = known;
        return result;
    }
    char const* machineName() const override { return "remote"; }
    bool isLocalFile(std::string const& name) override { return name == local; }

    std::string local;
    ObjectPtr<IChecksum> known;
    int result = 0;
    bool copies = true;
    std::vector<std::string> asked;
};

} // namespace LK_2_13::test
