#include "search/packed_kernel.h"
#include "search/scan/file_index.h"
#include "search/scan/index_database.h"

#include <optstore2/product_locations.h>
#include <optstore2/store_lock.h>
#include <toolbelt2/path.h>

#include <filesystem>
#include <stdexcept>

namespace lokata::profile {

std::string defaultFileIndex() {
    std::string const directory = optstore2::IProductLocations::get()->getTempDirectory();
    return directory.empty() ? "" : toolbelt2::join_path(directory, "files.sqlite");
}

FileIndexStatus fileIndexStatus(std::string const& index) {
    FileIndexStatus result;
    try {
        auto const database = IndexDatabase::open(index);
        if (!database)
            return result;
        result.entries = database->count(false);
        result.with_id = database->count(true);
        result.bytes = std::filesystem::file_size(index);
    } catch (std::runtime_error const& error) {
        result.error = error.what();
    }
    return result;
}

/// Nobody writes meanwhile; who reads, reads what the name leads to no longer.
std::string clearFileIndex(std::string const& index) {
    try {
        optstore2::store_lock_t const lock(index.c_str(), c_indexPatience);
        IndexDatabase::remove(index);
        return {};
    } catch (std::runtime_error const& error) {
        return error.what();
    }
}

IndexedTrees indexTrees(std::vector<std::string> const& trees, std::string const& index,
                        IndexProgress const& progress) {
    IndexedTrees result;
    TreeListing const listing(trees);
    result.files = listing.size();
    std::vector<FileNumber> packed;
    std::vector<FileNumber> sources;
    std::vector<FileNumber> others;
    for (FileNumber file = 0; file < listing.size(); ++file)
        (isPackedKernelName(listing.name(file)) ? packed
         : isSourceName(listing.name(file))     ? sources
                                                : others)
            .push_back(file);

    FileIndex files(index, [&](std::string const& text) { result.error = text; });
    std::uint64_t done = 0;
    TakeMarks const count = [&](FileNumber, FileMarks const& marks) {
        if (!marks.id.empty())
            ++result.with_id;
        if (progress)
            progress(++done, listing.size());
    };
    result.read += files.marks(listing, others, Reading::elf, count);
    result.read += files.marks(listing, sources, Reading::source, count);
    result.read += files.marks(listing, packed, Reading::packed, count);
    return result;
}

} // namespace lokata::profile
