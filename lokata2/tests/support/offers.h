#pragma once

#include "lk_search_contracts.h"

#include <string>
#include <vector>

namespace LK_2_13::test {

/// Writes down the candidates that a search step offers. Accepts the one that it is told to.
class Offers final : public ISearchResultsContainer {
public:
    bool validateAndAdd(char const* fileName, unsigned int searchStep) override {
        names.emplace_back(fileName);
        steps.push_back(searchStep);
        return names.back() == accepted;
    }

    /// The names below `directory`, without it.
    std::vector<std::string> namesBelow(std::string const& directory) const {
        std::vector<std::string> result;
        for (std::string const& name : names) {
            bool const below = name.compare(0, directory.size() + 1, directory + "/") == 0;
            result.push_back(below ? name.substr(directory.size() + 1) : name);
        }
        return result;
    }

    std::string accepted;
    std::vector<std::string> names;
    std::vector<unsigned int> steps;
};

} // namespace LK_2_13::test
