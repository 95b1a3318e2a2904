#pragma once

#include <lokata/profile/resolution.h>

#include <lokata2/search_types.h>

#include <string>
#include <vector>

namespace lokata::cli {

/// What to search for. A text that is not known is empty.
struct SearchRequest {
    LK_2_13::search_category_t category = LK_2_13::scBinaryFiles;
    std::string name;
    std::string binary;
    std::string checksum;
    std::string suggestion;
};

struct FoundFile {
    std::string path;
    LK_2_13::confidence_t confidence;
    LK_2_13::search_step_t step;
};

/// The outcome of one search. A search that ends with the first valid file has at most one entry in
/// `found`.
struct SearchRecord {
    LK_2_13::search_category_t category = LK_2_13::scBinaryFiles;
    std::string name;
    std::vector<FoundFile> found;
    std::vector<profile::JudgedCandidate> rejected;
};

} // namespace lokata::cli
