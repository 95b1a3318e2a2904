#pragma once

#include <lokata2/validator.h>

#include <string>

namespace LK_2_13::test {

/// What a validator said, and in which order.
class ErrorInfo final : public IErrorInfoContainer {
public:
    void setSeverity(severity_t value) override {
        severity = value;
        calls += "severity ";
    }
    void setErrorMessage(char const* text) override {
        message = text != nullptr ? text : message;
        calls += "message ";
    }

    severity_t severity = svNone;
    std::string message;
    std::string calls;
};

} // namespace LK_2_13::test
