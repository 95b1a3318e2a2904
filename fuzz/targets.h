#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// What reads foreign bytes, ready to be fed with any. One takes an input and aborts where
/// something does not hold that callers rely on.
struct FuzzTarget {
    std::string word; ///< Names its directory of the corpus.
    std::function<void(std::string_view input)> run;
};

/// The readers of all formats, under their words, and "elf", "kernel", "store", "requests" and
/// "program". For one thread; they share a scratch directory.
std::vector<FuzzTarget> fuzzTargets();
