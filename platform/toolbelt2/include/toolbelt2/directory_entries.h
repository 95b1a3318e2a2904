#pragma once

#include <toolbelt2/export.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include <dirent.h>

namespace toolbelt2 {

/// An open directory, read entry by entry in the order of the file system. For one thread at a
/// time.
class TOOLBELT2_EXPORT directory_t {
public:
    /// What an entry leads to; `unreadable` if its status cannot be had.
    enum class kind_t { directory, other, unreadable };

    /// Opens a directory (not null), if it can be.
    explicit directory_t(char const* name);
    ~directory_t();
    directory_t(directory_t const&) = delete;
    directory_t& operator=(directory_t const&) = delete;

    /// True if the directory could be opened and no entry has failed to come since.
    explicit operator bool() const { return m_error == 0; }

    /// The open directory, still owned; negative if there is none.
    int descriptor() const { return m_pHandle ? ::dirfd(m_pHandle) : -1; }

    /// The next entry but "." and "..", good until the next call; null at the end and on a failure.
    dirent const* next();

    /// The kind of the entry that `next` gave last. Only links, and entries whose file system tells
    /// no type, cost a call of the system. A link that leads nowhere is no failure.
    kind_t kind_of(dirent const& entry) const {
        if (entry.d_type == DT_DIR)
            return kind_t::directory;
        if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN)
            return kind_t::other;
        return kind_of_target(entry.d_name);
    }

private:
    kind_t kind_of_target(char const* name) const;

    DIR* m_pHandle;
    int m_error;
};

/// Names of entries in one piece of memory, each ended with a null character.
class entry_names_t {
public:
    class iterator {
    public:
        explicit iterator(char const* name) : m_name(name) {}
        char const* operator*() const { return m_name; }
        iterator& operator++() {
            m_name += std::strlen(m_name) + 1;
            return *this;
        }
        bool operator!=(iterator const& other) const { return m_name != other.m_name; }

    private:
        char const* m_name;
    };

    bool empty() const { return m_names.empty(); }
    void add(char const* name) { m_names.append(name, std::strlen(name) + 1); }
    void clear() { m_names.clear(); }

    /// The names in the order of adding, good until the next change.
    iterator begin() const { return iterator(m_names.data()); }
    iterator end() const { return iterator(m_names.data() + m_names.size()); }

private:
    std::string m_names;
};

/// What one reading of a directory gave.
struct directory_reading_t {
    /// Opened and read to its end.
    bool is_complete = false;
    /// The entries that are directories, links to directories among them. None at all if the
    /// reading is not complete or the status of a single entry could not be had.
    entry_names_t subdirectories;
};

/// Reads a directory (not null) once, in the order of the file system: calls `visit(char const*)`
/// with the name of each entry but "." and "..", and gathers the subdirectories to enter, if they
/// are asked for. The handle is closed on return, so that a walk that goes on from here has one
/// open at most, however deep the tree.
template <typename visitor_t>
directory_reading_t read_directory(char const* directory, bool withSubdirectories,
                                   visitor_t&& visit) {
    directory_reading_t reading;
    directory_t handle(directory);
    while (dirent const* const entry = handle.next()) {
        visit(static_cast<char const*>(entry->d_name));
        directory_t::kind_t const kind =
            withSubdirectories ? handle.kind_of(*entry) : directory_t::kind_t::other;
        if (kind == directory_t::kind_t::directory)
            reading.subdirectories.add(entry->d_name);
        else if (kind == directory_t::kind_t::unreadable)
            withSubdirectories = false;
    }
    reading.is_complete = static_cast<bool>(handle);
    if (!reading.is_complete || !withSubdirectories)
        reading.subdirectories.clear();
    return reading;
}

} // namespace toolbelt2
