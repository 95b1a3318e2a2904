#pragma once

#include <lokata/profile/export.h>

#include <memory>
#include <optional>
#include <utility>

namespace lokata::profile {

/// A value or none, as std::optional, but kept apart from its owner: for what is large and mostly
/// missing. Copies are deep. Behind a move the source is empty.
template <class T>
class Boxed {
public:
    Boxed() = default;
    Boxed(std::nullopt_t) {}
    Boxed(T value) : m_value(std::make_unique<T>(std::move(value))) {}
    Boxed(Boxed const& other) : m_value(other ? std::make_unique<T>(*other) : nullptr) {}
    Boxed(Boxed&& other) noexcept = default;
    Boxed& operator=(Boxed const& other) {
        *this = Boxed(other);
        return *this;
    }
    Boxed& operator=(Boxed&& other) noexcept = default;
    ~Boxed() = default;

    bool has_value() const { return m_value != nullptr; }
    explicit operator bool() const { return has_value(); }

    /// Undefined for none.
    T& operator*() { return *m_value; }
    T const& operator*() const { return *m_value; }
    T* operator->() { return m_value.get(); }
    T const* operator->() const { return m_value.get(); }

    template <class... Arguments>
    T& emplace(Arguments&&... arguments) {
        m_value = std::make_unique<T>(std::forward<Arguments>(arguments)...);
        return *m_value;
    }
    void reset() { m_value.reset(); }

private:
    std::unique_ptr<T> m_value;
};

} // namespace lokata::profile
