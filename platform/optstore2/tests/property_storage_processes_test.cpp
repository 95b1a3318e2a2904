#include "store_directory.h"

#include <optstore2/property_storage.h>
#include <optstore2/storage_error.h>
#include <optstore2/store_lock.h>

#include <csignal>
#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <random>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace optstore2;
using namespace toolbelt2;

// Long enough for a loaded machine: no test waits for it to run out.
constexpr std::chrono::milliseconds c_patience{120000};

using report_t = std::function<void(std::uint64_t)>;

/// A child process that reports numbers through a pipe as it goes.
class Process {
public:
    explicit Process(std::function<void(report_t const&)> const& body) {
        int ends[2];
        if (::pipe(ends) != 0)
            throw std::runtime_error("no pipe");
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(ends[0]);
            try {
                body([&ends](std::uint64_t number) {
                    if (::write(ends[1], &number, sizeof number) != sizeof number)
                        ::_exit(3);
                });
                ::_exit(0);
            } catch (std::exception const& error) {
                std::cerr << error.what() << std::endl;
                ::_exit(2);
            }
        }
        ::close(ends[1]);
        m_reports = ends[0];
    }

    Process(Process const&) = delete;
    Process& operator=(Process const&) = delete;

    ~Process() { ::close(m_reports); }

    bool nextReport(std::uint64_t& number) const {
        return ::read(m_reports, &number, sizeof number) == sizeof number;
    }

    void kill() const { ::kill(m_pid, SIGKILL); }

    int wait() const {
        int status = -1;
        ::waitpid(m_pid, &status, 0);
        return status;
    }

private:
    pid_t m_pid = -1;
    int m_reports = -1;
};

class PropertyStorageProcesses : public StoreDirectory {
protected:
    sptr_t<IPropertyStorage> open() const {
        std::string error;
        auto store = IPropertyStorage::openSqlite(m_store.c_str(), error, c_patience);
        if (!store)
            throw std::runtime_error(error);
        return store;
    }

    /// Writes ever higher numbers under one name, and reports each that was written.
    void count(std::string const& name, std::uint64_t last, report_t const& report) const {
        auto const store = open();
        for (std::uint64_t number = stored(*store, name) + 1; number <= last; ++number) {
            variant_bag_t bag;
            bag.put("number", variant_t::from_bits(vtUint64, number));
            bag.put("padding", std::string(number % 3 * 5000, 'p'));
            store->write(name, bag);
            report(number);
        }
    }

    static std::uint64_t stored(IPropertyStorage const& store, std::string const& name) {
        variant_bag_t const bag = store.read(name, {});
        variant_t const* const number = bag.get("number");
        return number ? number->as_uint64() : 0;
    }
};

TEST_F(PropertyStorageProcesses, AKilledWriterLosesNothingThatWasWritten) {
    constexpr int c_rounds = 25;
    constexpr std::uint64_t c_steadyWrites = 150;
    Process const steady(
        [this](report_t const& report) { count("steady", c_steadyWrites, report); });

    std::minstd_rand random(1);
    std::uint64_t acknowledged = 0;
    for (int round = 0; round < c_rounds; ++round) {
        Process const victim(
            [this](report_t const& report) { count("victim", UINT64_MAX, report); });
        for (auto wanted = 1 + random() % 4; wanted > 0; --wanted)
            ASSERT_TRUE(victim.nextReport(acknowledged));
        for (auto delay = random() % 20000; delay > 0; --delay)
            ::getppid();
        victim.kill();
        EXPECT_TRUE(WIFSIGNALED(victim.wait()));
        while (victim.nextReport(acknowledged)) {
        }
        std::uint64_t const found = stored(*open(), "victim");
        EXPECT_TRUE(found == acknowledged || found == acknowledged + 1)
            << found << " after " << acknowledged << " in round " << round;
    }

    EXPECT_EQ(steady.wait(), 0);
    EXPECT_EQ(stored(*open(), "steady"), c_steadyWrites);
}

TEST_F(PropertyStorageProcesses, UnderTheLockNoReadModifyWriteIsLost) {
    constexpr int c_adds = 40;
    auto const adding = [this](std::string const& prefix) {
        return [this, prefix](report_t const&) {
            auto const store = open();
            for (int i = 0; i < c_adds; ++i) {
                store_lock_t const lock(m_store.c_str());
                variant_bag_t bag = store->read("list", {});
                bag.put(prefix + std::to_string(i), true);
                store->write("list", bag);
            }
        };
    };
    Process const dying([this](report_t const& report) {
        store_lock_t const lock(m_store.c_str());
        report(1);
        ::pause();
    });
    std::uint64_t ready = 0;
    ASSERT_TRUE(dying.nextReport(ready));
    Process const first(adding("a"));
    Process const second(adding("b"));
    dying.kill();
    EXPECT_TRUE(WIFSIGNALED(dying.wait())) << "its lock ends with it";
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
    EXPECT_EQ(open()->read("list", {}).entries().size(), 2U * c_adds);
    EXPECT_THROW(store_lock_t((m_directory / "no" / "file").c_str()), storage_error);
}

} // namespace
