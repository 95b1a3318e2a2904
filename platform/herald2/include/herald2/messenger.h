#pragma once

namespace herald2 {

/// Takes messages for the user of a program. A client implements it; those who get one only use
/// it, they never own it and never delete it.
class IMessenger {
public:
    virtual ~IMessenger() = default;

    /// Shows a text to the user. The text is UTF-8, not null, and lives for the call only. May be
    /// called from any thread that the messenger was handed to.
    virtual void message(char const* text) = 0;
};

} // namespace herald2
