#pragma once

#include <thread>
#include <vector>

/// Runs `body(number)` for each number below `count` on a thread of its own and waits for all.
template <class Body>
void onThreads(int count, Body const& body) {
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number)
        threads.emplace_back([&body, number] { body(number); });
    for (std::thread& thread : threads)
        thread.join();
}
