#include <optstore2/storage_error.h>

namespace optstore2 {

storage_error::storage_error(std::string const& file, std::string const& reason)
    : std::runtime_error("property store " + file + ": " + reason) {}

storage_error::~storage_error() = default;

} // namespace optstore2
