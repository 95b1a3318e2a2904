#include "search/search_overlay.h"

namespace lokata::profile {

using namespace LK_2_13;

namespace {

/// Calls what an environment has in a holder; without an environment or a callback gives `absent`.
template <class Callback, class Result, class Ask>
Result askHeld(ISearchEnv* environment, CallbackHolder<Callback>* (ISearchEnv::*holder)(),
               Result absent, Ask const& ask) {
    if (environment == nullptr)
        return absent;
    CallbackHolder<Callback>& held = *(environment->*holder)();
    if (!held.hasCallback())
        return absent;
    CallbackAccessor<Callback> const callback(held);
    return callback.get() == nullptr ? absent : ask(*callback.get());
}

/// Hand a request on to the operation for its category.
bool ask(ISearchStartedCallback& callback, RequestedFile const& file,
         IStringContainer& suggestions) {
    auto const [category, name, binary, checksum] = file;
    if (category == scBinaryFiles)
        return callback.binFileSearchStarted(name, suggestions);
    if (category == scSymbolFiles)
        return callback.symFileSearchStarted(name, binary, checksum, suggestions);
    return callback.srcFileSearchStarted(name, binary, checksum, suggestions);
}

ObjectPtr<IValidFile> ask(IFilesFoundCallback& callback, RequestedFile const& file,
                          IValidFileIterator& files) {
    auto const [category, name, binary, checksum] = file;
    if (category == scBinaryFiles)
        return callback.binFilesFound(name, files);
    if (category == scSymbolFiles)
        return callback.symFilesFound(name, binary, checksum, files);
    return callback.srcFilesFound(name, binary, checksum, files);
}

ObjectPtr<IValidFile> ask(INoFilesFoundCallback& callback, RequestedFile const& file,
                          IValidator& validator, IInvalidFileIterator& invalidFiles,
                          IValidFileIterator& validFiles) {
    auto const [category, name, binary, checksum] = file;
    if (category == scBinaryFiles)
        return callback.noBinFilesFound(name, validator, invalidFiles, validFiles);
    if (category == scSymbolFiles)
        return callback.noSymFilesFound(name, binary, checksum, validator, invalidFiles,
                                        validFiles);
    return callback.noSrcFilesFound(name, binary, checksum, validator, invalidFiles, validFiles);
}

class RecordingStepsIterator final : public RefCountImpl<ISearchStepsIterator> {
public:
    RecordingStepsIterator(ObjectPtr<ISearchStepsIterator> const& inner, CallbackRecord& record)
        : m_pInner(inner), m_record(record) {}

    void reset() override { m_pInner->reset(); }
    bool next() override { return m_pInner->next(); }
    bool current(search_step_t& step) override {
        if (!m_pInner->current(step))
            return false;
        if (m_record.steps.empty() || m_record.steps.back() != step)
            m_record.steps.push_back(step);
        return true;
    }

private:
    ObjectPtr<ISearchStepsIterator> m_pInner;
    CallbackRecord& m_record;
};

} // namespace

ObjectPtr<ISearchStepsIterator>
RecordingSteps::getSearchStepsIterator(search_category_t category,
                                       unsigned long long stepsSelector) {
    ObjectPtr<ISearchStepsIterator> const steps =
        m_pInner->getSearchStepsIterator(category, stepsSelector);
    if (!steps)
        return nullptr;
    return new RecordingStepsIterator(steps, m_record);
}

bool SuggestingCallback::searchStarted(RequestedFile const& file, IStringContainer& suggestions) {
    m_record.name = file.file_name;
    bool const runSteps =
        askHeld(m_pEnvironment, &ISearchEnv::searchStartedCallback, true,
                [&](ISearchStartedCallback& callback) { return ask(callback, file, suggestions); });
    for (Candidate const& candidate : m_record.suggestions)
        suggestions.add(candidate.path.c_str());
    return runSteps && m_record.run_steps;
}

ObjectPtr<IValidFile> RememberingCallback::filesFound(RequestedFile const& file,
                                                      IValidFileIterator& files) {
    if (m_pEnvironment != nullptr && m_pEnvironment->filesFoundCallback()->hasCallback())
        m_record.chosen =
            askHeld(m_pEnvironment, &ISearchEnv::filesFoundCallback, ObjectPtr<IValidFile>(),
                    [&](IFilesFoundCallback& callback) { return ask(callback, file, files); });
    else
        m_record.chosen = files.next();
    return nullptr;
}

ObjectPtr<IValidFile> RecordingCallback::noFilesFound(RequestedFile const& file,
                                                      IValidator& validator,
                                                      IInvalidFileIterator& invalidFiles,
                                                      IValidFileIterator& validFiles) {
    for (ObjectPtr<IInvalidFile> each = invalidFiles.next(); each; each = invalidFiles.next())
        m_record.rejected.push_back(each);
    if (m_record.chosen)
        return m_record.chosen;
    if (!m_record.run_steps)
        if (ObjectPtr<IValidFile> suggested = validFiles.next())
            return suggested;
    invalidFiles.reset();
    return askHeld(m_pEnvironment, &ISearchEnv::noFilesFoundCallback, ObjectPtr<IValidFile>(),
                   [&](INoFilesFoundCallback& callback) {
                       return ask(callback, file, validator, invalidFiles, validFiles);
                   });
}

namespace {

ObjectPtr<IEnvironmentInfo> withKernelRelease(ObjectPtr<IEnvironmentInfo> const& info,
                                              std::string const& release) {
    auto const result = IEditableEnvironmentInfo::create();
    if (info) {
        result->setOsType(info->osType());
        result->setArchitecture(info->architecture());
    }
    result->setKernelRelease(release.c_str());
    return ObjectPtr<IEnvironmentInfo>(result);
}

} // namespace

OverlaidEnvironment::OverlaidEnvironment(ObjectPtr<ISearchEnv> const& inner, DirectoryIndex* index,
                                         std::string const& kernelRelease)
    : m_pInner(inner)
    , m_pIndex(index)
    , m_started(inner.get(), record)
    , m_found(inner.get(), record)
    , m_notFound(inner.get(), record)
    , m_startedHolder(&m_started)
    , m_foundHolder(&m_found)
    , m_notFoundHolder(&m_notFound) {
    if (m_pInner && m_pInner->searchStepsConfigurator())
        m_pSteps = new RecordingSteps(m_pInner->searchStepsConfigurator(), record);
    m_pInfo = m_pInner ? m_pInner->environmentInfo() : nullptr;
    if (!kernelRelease.empty() && kernelReleaseOf(m_pInner.get()).empty())
        m_pInfo = withKernelRelease(m_pInfo, kernelRelease);
}

ObjectPtr<ISearchDirIterator> OverlaidEnvironment::searchDirs(search_category_t category) {
    if (!m_pInner)
        return nullptr;
    ObjectPtr<ISearchDirIterator> const all = m_pInner->searchDirs(category);
    return m_pIndex == nullptr || record.name.empty() ? all : m_pIndex->prune(all, record.name);
}

bool OverlaidEnvironment::hasDirectories(search_category_t category) {
    if (!m_pInner)
        return false;
    for (search_category_t const each : {category, scAllFiles})
        for (auto const& directories : {m_pInner->searchDirs(each), m_pInner->archiveDirs(each)}) {
            bool isAny = false;
            forEachDirectory(directories, [&](char const*, bool, bool) { isAny = true; });
            if (isAny)
                return true;
        }
    char const* const cache = m_pInner->cacheDir();
    return cache != nullptr && *cache != '\0';
}

std::string kernelReleaseOf(ISearchEnv* environment) {
    if (environment == nullptr)
        return {};
    ObjectPtr<IEnvironmentInfo> const info = environment->environmentInfo();
    return info ? info->kernelRelease() : "";
}

} // namespace lokata::profile
