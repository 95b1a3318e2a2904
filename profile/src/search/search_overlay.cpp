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

class RecordingStepsIterator final : public RefCountImpl<ISearchStepsIterator> {
public:
    RecordingStepsIterator(ObjectPtr<ISearchStepsIterator> const& inner, SearchRecord& record)
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
    SearchRecord& m_record;
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

template <class Ask>
bool SuggestingCallback::start(char const* fileName, IStringContainer& suggestions,
                               Ask const& ask) {
    m_record.name = fileName;
    bool const runSteps = askHeld(m_pEnvironment, &ISearchEnv::searchStartedCallback, true, ask);
    for (Candidate const& candidate : m_record.suggestions)
        suggestions.add(candidate.path.c_str());
    return runSteps && m_record.run_steps;
}

bool SuggestingCallback::binFileSearchStarted(char const* fileName, IStringContainer& suggestions) {
    return start(
        fileName, suggestions,
        [&](ISearchStartedCallback& callback) {
            return callback.binFileSearchStarted(fileName, suggestions);
        });
}

bool SuggestingCallback::symFileSearchStarted(char const* fileName, char const* binaryName,
                                              char const* checksum, IStringContainer& suggestions) {
    return start(
        fileName, suggestions,
        [&](ISearchStartedCallback& callback) {
            return callback.symFileSearchStarted(fileName, binaryName, checksum, suggestions);
        });
}

bool SuggestingCallback::srcFileSearchStarted(char const* fileName, char const* binaryName,
                                              char const* checksum, IStringContainer& suggestions) {
    return start(
        fileName, suggestions,
        [&](ISearchStartedCallback& callback) {
            return callback.srcFileSearchStarted(fileName, binaryName, checksum, suggestions);
        });
}

template <class Ask>
ObjectPtr<IValidFile> RememberingCallback::choose(IValidFileIterator& files, Ask const& ask) {
    if (m_pEnvironment != nullptr && m_pEnvironment->filesFoundCallback()->hasCallback())
        m_record.chosen =
            askHeld(m_pEnvironment, &ISearchEnv::filesFoundCallback, ObjectPtr<IValidFile>(), ask);
    else
        m_record.chosen = files.next();
    return nullptr;
}

ObjectPtr<IValidFile> RememberingCallback::binFilesFound(char const* fileName,
                                                         IValidFileIterator& files) {
    return choose(
        files,
        [&](IFilesFoundCallback& callback) { return callback.binFilesFound(fileName, files); });
}

ObjectPtr<IValidFile> RememberingCallback::symFilesFound(char const* fileName,
                                                         char const* binaryName,
                                                         char const* checksum,
                                                         IValidFileIterator& files) {
    return choose(
        files,
        [&](IFilesFoundCallback& callback) {
            return callback.symFilesFound(fileName, binaryName, checksum, files);
        });
}

ObjectPtr<IValidFile> RememberingCallback::srcFilesFound(char const* fileName,
                                                         char const* binaryName,
                                                         char const* checksum,
                                                         IValidFileIterator& files) {
    return choose(
        files,
        [&](IFilesFoundCallback& callback) {
            return callback.srcFilesFound(fileName, binaryName, checksum, files);
        });
}

template <class Ask>
ObjectPtr<IValidFile> RecordingCallback::record(IInvalidFileIterator& invalidFiles,
                                                IValidFileIterator& validFiles, Ask const& ask) {
    for (ObjectPtr<IInvalidFile> file = invalidFiles.next(); file; file = invalidFiles.next())
        m_record.rejected.push_back(file);
    if (m_record.chosen)
        return m_record.chosen;
    if (!m_record.run_steps)
        if (ObjectPtr<IValidFile> suggested = validFiles.next())
            return suggested;
    invalidFiles.reset();
    return askHeld(m_pEnvironment, &ISearchEnv::noFilesFoundCallback, ObjectPtr<IValidFile>(), ask);
}

ObjectPtr<IValidFile> RecordingCallback::noBinFilesFound(char const* fileName,
                                                         IValidator& validator,
                                                         IInvalidFileIterator& invalidFiles,
                                                         IValidFileIterator& validFiles) {
    return record(
        invalidFiles, validFiles,
        [&](INoFilesFoundCallback& callback) {
            return callback.noBinFilesFound(fileName, validator, invalidFiles, validFiles);
        });
}

ObjectPtr<IValidFile> RecordingCallback::noSymFilesFound(
    char const* fileName, char const* binaryName, char const* checksum, IValidator& validator,
    IInvalidFileIterator& invalidFiles, IValidFileIterator& validFiles) {
    return record(
        invalidFiles, validFiles,
        [&](INoFilesFoundCallback& callback) {
            return callback.noSymFilesFound(fileName, binaryName, checksum, validator, invalidFiles,
                                            validFiles);
        });
}

ObjectPtr<IValidFile> RecordingCallback::noSrcFilesFound(
    char const* fileName, char const* binaryName, char const* checksum, IValidator& validator,
    IInvalidFileIterator& invalidFiles, IValidFileIterator& validFiles) {
    return record(
        invalidFiles, validFiles,
        [&](INoFilesFoundCallback& callback) {
            return callback.noSrcFilesFound(fileName, binaryName, checksum, validator, invalidFiles,
                                            validFiles);
        });
}

} // namespace lokata::profile
