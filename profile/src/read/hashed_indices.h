#pragma once

#include <lokata/profile/export.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace lokata::profile {

/// The hash of several fields.
class FieldHash {
public:
    FieldHash& add(std::string_view field) { return addHash(std::hash<std::string_view>()(field)); }
    FieldHash& add(std::uint64_t number) { return addHash(std::hash<std::uint64_t>()(number)); }
    /// The low bits are as good as the high ones.
    std::size_t value() const { return m_value ^ m_value >> 32; }

private:
    /// The golden ratio as a fraction of 2^64 keeps neighbours apart.
    FieldHash& addHash(std::size_t hash) {
        constexpr std::size_t c_goldenRatio = 0x9e3779b97f4a7c15;
        m_value = ((m_value << 7 | m_value >> 57) ^ hash) * c_goldenRatio;
        return *this;
    }

    std::size_t m_value = 0;
};

/// Finds the elements of a list by what they hold. It knows their hashes and indices alone, so that
/// no element of a long list is kept twice.
class HashedIndices {
public:
    static constexpr std::uint32_t c_none = ~std::uint32_t{0};

    /// The index, of those of that hash, for which `isEqual(index)` holds; else none.
    template <class Equal>
    std::uint32_t find(std::size_t hash, Equal const& isEqual) const {
        for (std::size_t at = firstOf(hash); isUsed(at); at = nextOf(at))
            if (m_slots[at].hash == hash && m_slots[at].index != c_removed &&
                isEqual(m_slots[at].index))
                return m_slots[at].index;
        return c_none;
    }
    void add(std::size_t hash, std::size_t index) {
        if (4 * (m_used + 1) > 3 * m_slots.size())
            grow();
        put({hash, static_cast<std::uint32_t>(index)});
    }
    void remove(std::size_t hash, std::uint32_t index) {
        for (std::size_t at = firstOf(hash); isUsed(at); at = nextOf(at))
            if (m_slots[at].index == index)
                m_slots[at].index = c_removed;
    }
    void clear() {
        m_slots.clear();
        m_used = 0;
    }

private:
    static constexpr std::uint32_t c_removed = c_none - 1;

    struct Slot {
        std::size_t hash = 0;
        std::uint32_t index = c_none;
    };

    std::size_t firstOf(std::size_t hash) const { return hash & (m_slots.size() - 1); }
    std::size_t nextOf(std::size_t at) const { return (at + 1) & (m_slots.size() - 1); }
    bool isUsed(std::size_t at) const { return !m_slots.empty() && m_slots[at].index != c_none; }

    void put(Slot const& slot) {
        std::size_t at = firstOf(slot.hash);
        while (isUsed(at))
            at = nextOf(at);
        m_slots[at] = slot;
        ++m_used;
    }
    void grow() {
        constexpr std::size_t c_least = 64;
        std::vector<Slot> const old = std::exchange(m_slots, {});
        m_slots.resize(std::max(2 * old.size(), c_least));
        m_used = 0;
        for (Slot const& slot : old)
            if (slot.index < c_removed)
                put(slot);
    }

    /// As many as a power of two, a quarter of them free: the search for a hash ends at a free one.
    std::vector<Slot> m_slots;
    std::size_t m_used = 0; ///< Those of removed indices count.
};

} // namespace lokata::profile
