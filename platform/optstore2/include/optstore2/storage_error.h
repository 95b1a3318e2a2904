#pragma once

#include <optstore2/export.h>

#include <stdexcept>
#include <string>

namespace optstore2 {

/// A property store that could not be read, written or locked. The text is one line for a
/// person: the file, and the reason.
class OPTSTORE2_EXPORT storage_error : public std::runtime_error {
public:
    storage_error(std::string const& file, std::string const& reason);
    ~storage_error() override;
};

} // namespace optstore2
