#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

/// Runs `body(number)` for each number below `count` on a thread of its own and waits for all. No
/// body begins before every thread runs.
template <class Body>
void onThreads(int count, Body const& body) {
    std::atomic<int> missing{count};
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number)
        threads.emplace_back([&body, &missing, number] {
            --missing;
            while (missing.load() > 0)
                std::this_thread::yield();
            body(number);
        });
    for (std::thread& thread : threads)
        thread.join();
}

/// Runs each operation once, on a thread of its own. Where none of them does more than one thing to
/// what they share, its lock alone can put them in an order: without that, ThreadSanitizer tells of
/// a race whichever came first.
inline void atOnce(std::vector<std::function<void()>> const& operations) {
    onThreads(
        static_cast<int>(operations.size()),
        [&](int number) { operations[static_cast<std::size_t>(number)](); });
}
