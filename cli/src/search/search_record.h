#pragma once

#include <lokata2/search_types.h>

#include <string>
#include <vector>

namespace lokata::cli {

/// What to search for. Texts that are unknown are empty.
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

struct RefusedFile {
    std::string path;
    LK_2_13::severity_t severity;
    std::string message;
    LK_2_13::search_step_t step;
};

/// What one search came to. Without a wish for all files `found` holds one file at most.
struct SearchRecord {
    LK_2_13::search_category_t category = LK_2_13::scBinaryFiles;
    std::string name;
    std::vector<FoundFile> found;
    std::vector<RefusedFile> refused;
};

} // namespace lokata::cli
