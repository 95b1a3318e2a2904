#pragma once

#include <lokata2/messages.h>
#include <lokata2/validator_decorator.h>

#include <string>

namespace LK_2_13 {

/// Nothing changes after construction; usable by value.
class ValidatorCallbackDecorator : public RefCountImpl<IValidatorCallbackDecorator> {
public:
    explicit ValidatorCallbackDecorator(IValidatorCallback* userCallback);

    /// Throws std::logic_error for a null name. Exceptions of the user's validator pass through.
    validation_result_t validate(char const* fileName, IErrorInfoContainer& errorInfo) override;

    /// The texts of the rejections. Without a text of the catalogue they are a literal that begins
    /// with a percent sign.
    std::string getFileDoesntExistErrMessage(char const* fileName);
    std::string getFileIsNotReadableErrMessage(char const* fileName);
    std::string getFileIsNotRegularErrMessage(char const* fileName);
    /// Not used by `validate`, which rejects a directory without a word.
    std::string getFileIsDirErrMessage();

private:
    /// Not owned; may be null.
    IValidatorCallback* m_pUserCallback;
    ObjectPtr<IFileIsDirectoryMessage> m_pFileIsDirectoryMessage;
    ObjectPtr<IFileIsNotReadableMessage> m_pFileIsNotReadableMessage;
    ObjectPtr<IFileDoesNotExistMessage> m_pFileDoesNotExistMessage;
    /// Asked for `IFileIsNotRegularMessage` at each use.
    ObjectPtr<IMessageMgr> m_pMessageMgr;
};

} // namespace LK_2_13
