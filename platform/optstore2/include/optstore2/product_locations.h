#pragma once

#include <optstore2/export.h>

#include <string>

namespace optstore2 {

/// Where the product keeps its files. One object serves the process; it is safe from any thread.
class OPTSTORE2_EXPORT IProductLocations {
public:
    virtual ~IProductLocations() = default;

    /// The object of this process, never null, not to be deleted.
    static IProductLocations* get();

    /// The directory for what the product makes for itself: an absolute path that stays valid to
    /// the end of the process, or the empty text if none can be had. Never null.
    ///
    /// The directory exists when this returns, and it is private: the effective user owns it, its
    /// mode is 0700, it is no symbolic link, and the directory above belongs to the user or to root
    /// and is not open to all without the sticky bit, so that nobody can put another one in its
    /// place but the members of a group that may write there. It is made if it is missing, with the
    /// directory above if that is missing too. A directory that fails the test is left as it is and
    /// reported on the logger "optstore2".
    virtual char const* getTempDirectory() = 0;

    /// Sets that directory. Null goes back to the default, `lokata` in `cacheDirectory()` as that
    /// is at each call of `getTempDirectory`; the empty text means that none can be had. A relative
    /// path counts from the current directory of this call. Nothing is tested or made before the
    /// next `getTempDirectory`.
    virtual void setTempDirectory(char const* directory) = 0;

    /// What stands against that directory, for a person: its path and the reason. Empty if
    /// `getTempDirectory` gives one, which is prepared as there.
    virtual std::string faultOfTempDirectory() = 0;
};

} // namespace optstore2
