#include "resolve/parallel.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace lokata::profile {

namespace {

std::size_t doAlone(std::size_t count, std::function<Worker()> const& makeWorker,
                    Progress const& progress) {
    Worker const work = makeWorker();
    for (std::size_t i = 0; i < count; ++i) {
        work(i);
        if (progress && !progress(i + 1, count))
            return i + 1;
    }
    return count;
}

/// The threads begin and end pieces under one lock, which none holds while it works.
class Crew {
public:
    Crew(std::size_t count, std::function<Worker()> const& makeWorker)
        : m_makeWorker(makeWorker), m_isDone(count) {}

    std::size_t work(std::size_t threads, Progress const& progress) {
        std::vector<std::thread> crew;
        try {
            for (std::size_t i = 0; i < threads; ++i)
                crew.emplace_back([this] { runWorker(); });
            watch(progress);
        } catch (...) {
            fail(std::current_exception());
        }
        for (std::thread& each : crew)
            each.join();
        if (m_failure)
            std::rethrow_exception(m_failure);
        return static_cast<std::size_t>(std::find(m_isDone.begin(), m_isDone.end(), false) -
                                        m_isDone.begin());
    }

private:
    void runWorker() {
        try {
            Worker const work = m_makeWorker();
            std::unique_lock lock(m_mutex);
            while (!m_isStopped && m_next < m_isDone.size()) {
                std::size_t const piece = m_next++;
                lock.unlock();
                work(piece);
                lock.lock();
                m_isDone[piece] = true;
                ++m_done;
                m_news.notify_one();
            }
        } catch (...) {
            fail(std::current_exception());
        }
    }

    /// Until all is done or nothing more shall be.
    void watch(Progress const& progress) {
        std::unique_lock lock(m_mutex);
        for (std::size_t told = 0; !m_isStopped && told < m_isDone.size();) {
            m_news.wait(lock, [&] { return m_isStopped || m_done > told; });
            std::size_t const done = m_done;
            lock.unlock();
            bool const goesOn = !progress || progress(done, m_isDone.size());
            lock.lock();
            m_isStopped = m_isStopped || !goesOn;
            told = done;
        }
    }

    void fail(std::exception_ptr failure) {
        std::lock_guard const guard(m_mutex);
        if (!m_failure)
            m_failure = std::move(failure);
        m_isStopped = true;
        m_news.notify_one();
    }

    std::function<Worker()> const& m_makeWorker;
    std::mutex m_mutex;
    std::condition_variable m_news;
    std::vector<bool> m_isDone;
    std::size_t m_next = 0;
    std::size_t m_done = 0;
    bool m_isStopped = false;
    std::exception_ptr m_failure;
};

} // namespace

std::size_t doInParallel(std::size_t count, std::size_t threads,
                         std::function<Worker()> const& makeWorker, Progress const& progress) {
    threads = std::min(threads, count);
    return threads < 2 ? doAlone(count, makeWorker, progress)
                       : Crew(count, makeWorker).work(threads, progress);
}

} // namespace lokata::profile
