#include "search/scan/file_index.h"

#include "read/reasons.h"
#include "search/scan/index_database.h"

#include <optstore2/storage_error.h>
#include <optstore2/store_lock.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>
#include <numeric>
#include <optional>
#include <stdexcept>

namespace lokata::profile {

using optstore2::sqlite_transaction_t;

namespace {

/// The clock of a file system may stand still for as long, so that a change leaves the times alone.
constexpr std::int64_t c_settledNs = 2'000'000'000;
/// A run that learns nothing shall not write, so the day of the last scan is kept roughly.
constexpr std::int64_t c_metAgainDays = 7;
/// Entries are written so many at once: a run that is killed loses no more.
constexpr std::size_t c_batch = 20'000;
/// A name that is longer is no name of a file.
constexpr std::size_t c_mostLinkName = 255;

std::int64_t nowNs() {
    auto const now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

} // namespace

FileIndex::FileIndex(std::string path, Warn warn, std::size_t mostEntries)
    : m_path(std::move(path)), m_warn(std::move(warn)), m_mostEntries(mostEntries) {}

FileIndex::~FileIndex() {
    try {
        flush();
    } catch (std::bad_alloc const&) {
        // It is read again by the next run.
    }
}

/// What cannot be used is dropped: nothing in it is worth a repair.
void FileIndex::guarded(std::function<void()> const& access) {
    if (m_path.empty())
        return;
    try {
        return access();
    } catch (std::runtime_error const& error) {
        if (m_warn)
            m_warn(reasonText(ReasonKey::index_dropped, {error.what()}));
    }
    // What cannot even be removed is left alone by this run.
    if (!clearFileIndex(m_path).empty())
        m_path.clear();
}

std::vector<FileNumber> FileIndex::recall(TreeListing const& listing,
                                          std::vector<FileNumber> const& files, Reading reading,
                                          TakeMarks const& take) {
    std::vector<bool> isKnown(files.size(), false);
    guarded([&] {
        auto const index = IndexDatabase::open(m_path);
        if (!index)
            return;
        std::vector<std::uint32_t> order(files.size());
        std::iota(order.begin(), order.end(), 0U);
        std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
            return listing.stamp(files[a]) < listing.stamp(files[b]);
        });
        sqlite_transaction_t const transaction(index->connection(), false);
        IndexReader reader(*index);
        std::int64_t const old = indexDay() - c_metAgainDays;
        for (std::uint32_t const each : order) {
            FileStamp const& stamp = listing.stamp(files[each]);
            if (!reader.find(stamp) || !isAnswerTo(reading, reader.kind()))
                continue;
            take(files[each], reader.marks(stamp));
            isKnown[each] = true;
            if (reader.met() < old)
                m_met.push_back(stamp);
        }
    });
    std::vector<FileNumber> unknown;
    for (std::size_t i = 0; i < files.size(); ++i)
        if (!isKnown[i])
            unknown.push_back(files[i]);
    return unknown;
}

void FileIndex::keep(FileStamp const& stamp, FileMarks const& marks, std::int64_t readAt) {
    bool const isSettled = std::max(stamp.modified_ns, stamp.changed_ns) < readAt - c_settledNs;
    bool const isSmall = !marks.debug_link || marks.debug_link->name.size() <= c_mostLinkName;
    if (m_path.empty() || !isSettled || !isSmall)
        return;
    m_pending.push_back({stamp, marks});
    if (m_pending.size() >= c_batch)
        flush(false);
}

void FileIndex::flush(bool isLast) {
    if (!m_pending.empty() || !m_met.empty())
        guarded([&] { write(isLast); });
    m_pending.clear();
    m_met.clear();
}

void FileIndex::write(bool isLast) {
    std::optional<optstore2::store_lock_t> lock;
    try {
        lock.emplace(m_path.c_str(), c_indexPatience);
    } catch (optstore2::storage_error const&) {
        return; // What was found now is read again by the next run.
    }
    auto index = IndexDatabase::open(m_path);
    if (!index) {
        IndexDatabase::create(m_path);
        index = std::make_unique<IndexDatabase>(m_path);
    }
    index->connection().make_crash_safe();
    sqlite_transaction_t transaction(index->connection(), true);
    {
        IndexWriter writer(*index);
        for (Entry const& entry : m_pending)
            writer.insert(entry.stamp, entry.marks);
        for (FileStamp const& stamp : m_met)
            writer.meet(stamp);
    }
    if (isLast)
        index->removeOldest(m_mostEntries);
    transaction.commit();
}

std::uint64_t FileIndex::marks(TreeListing const& listing, std::vector<FileNumber> const& files,
                               Reading reading, TakeMarks const& take) {
    std::vector<FileNumber> const unknown = recall(listing, files, reading, take);
    std::int64_t readAt = nowNs();
    readMarks(listing, unknown, reading, [&](FileNumber file, FileMarks const& marks) {
        take(file, marks);
        keep(listing.stamp(file), marks, readAt);
        readAt = nowNs();
    });
    return unknown.size();
}

} // namespace lokata::profile
