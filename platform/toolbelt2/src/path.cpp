#include <toolbelt2/path.h>

namespace toolbelt2 {

std::string join_path(std::string_view directory, std::string_view part) {
    if (directory.empty())
        return std::string(part);
    while (!directory.empty() && directory.back() == '/')
        directory.remove_suffix(1);
    while (!part.empty() && part.front() == '/')
        part.remove_prefix(1);
    std::string result;
    result.reserve(directory.size() + 1 + part.size());
    return result.append(directory).append(1, '/').append(part);
}

} // namespace toolbelt2
