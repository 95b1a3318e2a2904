#include <brace/varg_list.h>

namespace BRACE_2_18::generic {

varg_list varg_list::with_first(argument first) {
    varg_list list;
    list.m_arguments.front() = std::move(first);
    return list;
}

strings::ustring8 const* varg_list::find(std::string_view name) const {
    for (argument const& each : m_arguments)
        if (!each.value().is_nil() && each.name().str() == name)
            return &each.value().as_ustring();
    return nullptr;
}

} // namespace BRACE_2_18::generic
