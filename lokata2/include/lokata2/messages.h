#pragma once

#include <lokata2/object.h>

#include <string>

/// The texts of rejections. Each is a small object that renders its message from the catalogue
/// "lokata_common"; a client can replace any of them in the one manager of the process. The library
/// asks for the messages of its file checks and of the up-to-date check; the others are for the
/// validators of clients, who fetch them in the same way.
namespace LK_2_13 {

/// "lokata_common".
extern LOKATA2_EXPORT char const* const VALIDATOR_MESSAGES_CATALOG;

/// Takes the text of one message. Belongs to the caller of `fillMessage`.
class LOKATA2_EXPORT IMsgContainer {
public:
    /// Keeps a copy in place of what was there.
    virtual void put(char const* text) = 0;
    /// The text, or null if there is none or it is empty.
    virtual char const* get() = 0;

protected:
    ~IMsgContainer() = default;
};

/// Takes one message, on the stack of the caller.
class MsgContainer final : public IMsgContainer {
public:
    /// Null counts as the empty text.
    void put(char const* text) override { m_text = text != nullptr ? text : ""; }
    char const* get() override { return m_text.empty() ? nullptr : m_text.c_str(); }

    /// The text, or `fallback` if there is none.
    char const* textOr(char const* fallback) const {
        return m_text.empty() ? fallback : m_text.c_str();
    }

private:
    std::string m_text;
};

/// The messages, in the order of `IMessageMgr`. M takes the class name and the parameters of
/// `fillMessage`.
#define LOKATA2_MESSAGES(M)                                                                        \
    M(BinChecksumMismatchMessage, (IMsgContainer&, char const*))                                   \
    M(SymChecksumMismatchMessage, (IMsgContainer&, char const*))                                   \
    M(SrcChecksumMismatchMessage, (IMsgContainer&, char const*))                                   \
    M(ModificationTimeMismatchMessage, (IMsgContainer&, char const*))                              \
    M(SizeMismatchMessage, (IMsgContainer&, char const*))                                          \
    M(SourceFileUpToDateMessage, (IMsgContainer&, char const*))                                    \
    M(FileIsDirectoryMessage, (IMsgContainer&))                                                    \
    M(FileIsNotReadableMessage, (IMsgContainer&, char const*))                                     \
    M(FileDoesNotExistMessage, (IMsgContainer&, char const*))                                      \
    M(InvalidSymbolFileMessage, (IMsgContainer&, char const*))                                     \
    M(FileArchMismatchMessage, (IMsgContainer&, char const*))                                      \
    M(FileIsNotABinaryModuleMessage, (IMsgContainer&, char const*))                                \
    M(BinFileReadingErrorMessage, (IMsgContainer&, char const*))                                   \
    M(BinFileUnsupportedFormatMessage, (IMsgContainer&, char const*))                              \
    M(FileIsNotRegularMessage, (IMsgContainer&, char const*))

/// `I<Name>::fillMessage(container, fileName)` puts the text for a file into the container; false
/// if there is no text, with the container as it was. `IFileIsDirectoryMessage` takes no file name.
/// Callable from any number of threads at once.
#define LOKATA2_DECLARE_MESSAGE(Name, parameters)                                                  \
    class LOKATA2_EXPORT I##Name : public ILKObject {                                              \
    public:                                                                                        \
        virtual bool fillMessage parameters = 0;                                                   \
    };
LOKATA2_MESSAGES(LOKATA2_DECLARE_MESSAGE)
#undef LOKATA2_DECLARE_MESSAGE

/// Hands out the message objects. For each message there are `set<Name>`, `get<Name>` (null if
/// missing) and `get<Name>Lock`, the lock for the counter of the message object, null unless a
/// subclass says otherwise. Setters belong in the set-up phase: they are not guarded against
/// getters.
class LOKATA2_EXPORT IMessageMgr : public ILKObject {
public:
    /// The manager of the process; it lives until the library is unloaded. Callable from any
    /// thread.
    static ObjectPtr<IMessageMgr> create();

#define LOKATA2_DECLARE_ACCESSORS(Name, parameters)                                                \
    virtual void set##Name(ObjectPtr<I##Name> message) = 0;                                        \
    virtual ObjectPtr<I##Name> get##Name() = 0;                                                    \
    virtual ILock* get##Name##Lock() {                                                             \
        return nullptr;                                                                            \
    }
    LOKATA2_MESSAGES(LOKATA2_DECLARE_ACCESSORS)
#undef LOKATA2_DECLARE_ACCESSORS
};

/// Sets all messages of a manager to the library's own. Null does nothing.
LOKATA2_EXPORT void initializeValidationMessages(ObjectPtr<IMessageMgr> pMgr);

} // namespace LK_2_13
