#include "lk_validator_decorator.h"

#include "lk_messages.h"

#include <lokata2/utils.h>
#include <toolbelt2/descriptor.h>

#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>

namespace LK_2_13 {

namespace {

bool isRegularFile(char const* name) {
    struct stat status {};
    return ::stat(name, &status) == 0 && S_ISREG(status.st_mode);
}

bool isReadable(char const* name) {
    return static_cast<bool>(toolbelt2::descriptor_t::open(name, O_RDONLY));
}

/// `fileName` is empty or one file name, as the message takes it.
template <class Message, class... FileName>
std::string textOf(ObjectPtr<Message> const& message, char const* fallback, FileName... fileName) {
    MsgContainer container;
    if (message)
        message->fillMessage(container, fileName...);
    return container.textOr(fallback);
}

} // namespace

ObjectPtr<IValidatorCallbackDecorator>
IValidatorCallbackDecorator::create(IValidatorCallback* userCallback) {
    return new ValidatorCallbackDecorator(userCallback);
}

ValidatorCallbackDecorator::ValidatorCallbackDecorator(IValidatorCallback* userCallback)
    : m_pUserCallback(userCallback) {
    m_pMessageMgr = IMessageMgr::create();
    if (!m_pMessageMgr)
        return;
    m_pFileIsDirectoryMessage = m_pMessageMgr->getFileIsDirectoryMessage();
    m_pFileIsNotReadableMessage = m_pMessageMgr->getFileIsNotReadableMessage();
    m_pFileDoesNotExistMessage = m_pMessageMgr->getFileDoesNotExistMessage();
}

/// Each check asks the file system anew. The severity is set before the message is made.
validation_result_t ValidatorCallbackDecorator::validate(char const* fileName,
                                                         IErrorInfoContainer& errorInfo) {
    if (fileName == nullptr)
        throw std::logic_error("The name of the file to validate is null");
    if (!utils::fileExists(fileName)) {
        errorInfo.setSeverity(svError);
        errorInfo.setErrorMessage(getFileDoesntExistErrMessage(fileName).c_str());
        return vrInvalid;
    }
    // Without a severity or a message, and that is meant: a directory that has the name of the file
    // is no version of it, and there is nothing to tell a person.
    if (utils::isDirectory(fileName))
        return vrInvalid;
    if (!isRegularFile(fileName)) {
        errorInfo.setSeverity(svError);
        errorInfo.setErrorMessage(getFileIsNotRegularErrMessage(fileName).c_str());
        return vrInvalid;
    }
    if (!isReadable(fileName)) {
        errorInfo.setSeverity(svError);
        errorInfo.setErrorMessage(getFileIsNotReadableErrMessage(fileName).c_str());
        return vrInvalid;
    }
    return m_pUserCallback != nullptr ? m_pUserCallback->validate(fileName, errorInfo)
                                      : vrUndecided;
}

std::string ValidatorCallbackDecorator::getFileDoesntExistErrMessage(char const* fileName) {
    return textOf(m_pFileDoesNotExistMessage, "%FileDoesNotExist", fileName);
}

/// The fallback is not the key of the catalogue, and that is meant: it is the text by which clients
/// know that the catalogue is missing.
std::string ValidatorCallbackDecorator::getFileIsNotReadableErrMessage(char const* fileName) {
    return textOf(m_pFileIsNotReadableMessage, "%CantOpenFile", fileName);
}

std::string ValidatorCallbackDecorator::getFileIsNotRegularErrMessage(char const* fileName) {
    ObjectPtr<IFileIsNotRegularMessage> message;
    if (m_pMessageMgr)
        message = m_pMessageMgr->getFileIsNotRegularMessage();
    return textOf(message, "%FileIsNotRegular", fileName);
}

std::string ValidatorCallbackDecorator::getFileIsDirErrMessage() {
    return textOf(m_pFileIsDirectoryMessage, "%FileIsDirectory");
}

} // namespace LK_2_13
