#pragma once

#include <lokata2/search_types.h>

#include <string>

namespace LK_2_13 {

/// Takes the reason of a rejection from a validator. Starts with `svNone` and the empty text.
class LOKATA2_EXPORT IErrorInfoContainer {
public:
    virtual void setSeverity(severity_t) = 0;
    /// Keeps a copy; null leaves the text as it is.
    virtual void setErrorMessage(char const* message) = 0;

protected:
    ~IErrorInfoContainer() = default;
};

/// Keeps the reason that a validator gives for one candidate, on the stack of the caller.
class ErrorInfoContainer : public IErrorInfoContainer {
public:
    virtual ~ErrorInfoContainer() = default;

    void setSeverity(severity_t severity) override { m_severity = severity; }
    void setErrorMessage(char const* message) override {
        if (message != nullptr)
            m_errorMessage = message;
    }

    severity_t severity() const { return m_severity; }
    std::string const& errorMessage() const { return m_errorMessage; }

private:
    std::string m_errorMessage;
    severity_t m_severity = svNone;
};

/// Judges the content of a candidate. Implemented by a client, or one of `content_validators.h`.
/// The library never owns or destroys it; it must outlive the search that it was passed to.
///
/// `validate` is called only with a path that exists, is a regular file and can be read, on the
/// thread of the search, possibly several times for one path, possibly while a files-found callback
/// runs. `fileName` is the candidate's path, not the canonical name.
///
/// `vrValid`: the wanted file beyond doubt. `vrInvalid`: not the wanted file; set a severity and a
/// message. `vrUndecided` and any other value: nothing to go by, the confidence policy decides; a
/// severity and message that were set are used if it rejects. Exceptions pass through the search.
class LOKATA2_EXPORT IValidatorCallback {
public:
    virtual validation_result_t validate(char const* fileName, IErrorInfoContainer& errorInfo) = 0;
    virtual ~IValidatorCallback() = default;
};

/// The judgement of the running search, handed to a no-files-found callback for paths of its own.
class LOKATA2_EXPORT IValidator {
public:
    /// The verdict on one path, with step `ssAskUser`. Never null.
    virtual ObjectPtr<IValidatedFile> validate(char const* fileName) = 0;

protected:
    ~IValidator() = default;
};

} // namespace LK_2_13
