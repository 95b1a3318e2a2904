#pragma once

#include <lokata2/checksum.h>

#include <string>

namespace LK_2_13 {

/// Fetches files from the machine where they were recorded. Implemented by a client, who keeps it
/// alive for as long as an environment points at it. Called on the threads of the searches.
class LOKATA2_EXPORT IFileRetriever {
public:
    /// Copies the file `name` to `targetDir`/`name`, keeping the path of `name` below `targetDir`.
    /// Gives 0 on success.
    virtual int retrieveFile(char const* name, char const* targetDir) = 0;
    /// Reports the checksum that the file `name` has where it comes from. Gives 0 on success; what
    /// a failing call wrote into `checksum` is not used.
    virtual int retrieveChecksum(char const* name, ObjectPtr<IChecksum>& checksum) = 0;
    /// A name of the other machine for a person; the library itself does not ask.
    virtual char const* machineName() const = 0;
    /// True if the name needs no retrieval and is to be looked up on this machine.
    virtual bool isLocalFile(std::string const& name) = 0;

protected:
    ~IFileRetriever() = default;
};

} // namespace LK_2_13
