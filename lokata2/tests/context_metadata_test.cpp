#include "lk_context_metadata.h"
#include "support/dir_records.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace LK_2_13 {
namespace {

class Policy : public IConfidenceLevelPolicyCallback {
public:
    confidence_level_t getConfidenceLevel(search_category_t, unsigned int) override {
        return clReject;
    }
};

class Files : public IFilesFoundCallback {
public:
    ObjectPtr<IValidFile> binFilesFound(char const*, IValidFileIterator&) override { return {}; }
    ObjectPtr<IValidFile> symFilesFound(char const*, char const*, char const*,
                                        IValidFileIterator&) override {
        return {};
    }
    ObjectPtr<IValidFile> srcFilesFound(char const*, char const*, char const*,
                                        IValidFileIterator&) override {
        return {};
    }
};

class ContextMetadata : public ::testing::Test {
protected:
    /// The keys of all containers, in order, each followed by a bar.
    std::string keys() {
        std::string result;
        ObjectPtr<ISearchDirKeyIterator> const iterator = m_metadata->searchDirsKeyIterator();
        char const* key = nullptr;
        ObjectPtr<ISearchDirContainer> container;
        while (iterator->getCurrentRecord(key, container)) {
            result.append(key).append("|");
            iterator->next();
        }
        return result;
    }

    ObjectPtr<IMetadata> m_metadata = new Metadata;
};

TEST_F(ContextMetadata, OrdersKeysByTheirBytes) {
    EXPECT_EQ(keys(), "");
    EXPECT_FALSE(m_metadata->getSearchDirs("absent"));
    EXPECT_EQ(keys(), "") << "asking makes no entry";
    for (char const* key : {"a", "B", " hidden", "ab", ""})
        m_metadata->setSearchDirs(IEditableSearchDirContainer::create(), key);
    EXPECT_EQ(keys(), "| hidden|B|a|ab|");

    ObjectPtr<IEditableSearchDirContainer> const second = IEditableSearchDirContainer::create();
    m_metadata->setSearchDirs(second, "a");
    EXPECT_EQ(m_metadata->getSearchDirs("a").get(), second.get());
}

TEST_F(ContextMetadata, KeyIteratorStaysAtItsEndAndReleasesTheLockWithItself) {
    m_metadata->setSearchDirs(IEditableSearchDirContainer::create(), "only");
    {
        auto const iterator = m_metadata->searchDirsKeyIterator();
        EXPECT_FALSE(iterator->next());
        EXPECT_FALSE(iterator->next());
        char const* key = "untouched";
        ObjectPtr<ISearchDirContainer> container;
        EXPECT_FALSE(iterator->getCurrentRecord(key, container));
        EXPECT_STREQ(key, "untouched");
        EXPECT_EQ(m_metadata->getArchiveDir(), "") << "readers go on meanwhile";
    }
    m_metadata->setArchiveDir("/archive");
    EXPECT_EQ(m_metadata->getArchiveDir(), "/archive");
}

TEST_F(ContextMetadata, RegistersEachCallbackBesideTheOthersOfItsKey) {
    EXPECT_FALSE(m_metadata->getCallbacks("client").filesFound.hasCallback());
    Files files;
    auto policy = std::make_unique<Policy>();
    m_metadata->registerFilesFoundCallback("client", &files);
    m_metadata->registerConfidenceLevelPolicyCallback("client", policy.get());
    lokata_callbacks_t const held = m_metadata->getCallbacks("client");
    EXPECT_TRUE(held.filesFound.hasCallback());
    EXPECT_TRUE(held.confidenceLevelPolicy.hasCallback());
    EXPECT_FALSE(held.searchStarted.hasCallback());
    EXPECT_FALSE(m_metadata->getCallbacks("").filesFound.hasCallback());

    policy.reset();
    EXPECT_FALSE(held.confidenceLevelPolicy.hasCallback()) << "a copy watches by itself";
    EXPECT_FALSE(m_metadata->getCallbacks("client").confidenceLevelPolicy.hasCallback());
    m_metadata->registerFilesFoundCallback("client", nullptr);
    EXPECT_FALSE(m_metadata->getCallbacks("client").filesFound.hasCallback());
    EXPECT_TRUE(held.filesFound.hasCallback());
}

TEST_F(ContextMetadata, IgnoresNullDirectoriesAndUnsetsByTheEmptyText) {
    m_metadata->setArchiveDir("/archive");
    m_metadata->setCacheDir("/cache");
    m_metadata->setArchiveDir(nullptr);
    m_metadata->setCacheDir(nullptr);
    EXPECT_EQ(m_metadata->getArchiveDir(), "/archive");
    EXPECT_EQ(m_metadata->getCacheDir(), "/cache");
    m_metadata->setArchiveDir("");
    m_metadata->setCacheDir("");
    EXPECT_EQ(m_metadata->getArchiveDir() + m_metadata->getCacheDir(), "");
}

TEST_F(ContextMetadata, RaisesForANullKeyAndLetsTheLockGo) {
    EXPECT_THROW(m_metadata->setSearchDirs(nullptr, nullptr), std::logic_error);
    EXPECT_THROW(m_metadata->getSearchDirs(nullptr), std::logic_error);
    EXPECT_THROW(m_metadata->registerMessenger(nullptr, nullptr), std::logic_error);
    EXPECT_THROW(m_metadata->getMessenger(nullptr), std::logic_error);
    EXPECT_THROW(m_metadata->registerSearchStepsConfigurator(nullptr, nullptr), std::logic_error);
    EXPECT_THROW(m_metadata->getSearchStepsConfigurator(nullptr), std::logic_error);
    EXPECT_THROW(m_metadata->registerEnvironmentInfo(nullptr, nullptr), std::logic_error);
    EXPECT_THROW(m_metadata->getEnvironmentInfo(nullptr), std::logic_error);
    EXPECT_EQ(m_metadata->getArchiveDir(), "") << "a lock that stayed held would never answer";
}

TEST_F(ContextMetadata, ReplacesClientObjectsOutsideItsLock) {
    /// Uses the metadata in its destructor, as the object of a client may.
    class Reentrant : public RefCountImpl<ISearchDirContainer> {
    public:
        explicit Reentrant(ObjectPtr<IMetadata> const& metadata) : m_metadata(metadata) {}
        ~Reentrant() override { m_metadata->getSearchDirs("key"); }
        ObjectPtr<ISearchDirIterator> enumerate(search_category_t) const override { return {}; }

    private:
        ObjectPtr<IMetadata> m_metadata;
    };
    m_metadata->setSearchDirs(new Reentrant(m_metadata), "key");
    m_metadata->setSearchDirs(nullptr, "key");
    EXPECT_FALSE(m_metadata->getSearchDirs("key"));
}

} // namespace
} // namespace LK_2_13
