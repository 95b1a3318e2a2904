#pragma once

#include <lokata2/search_types.h>

#include <list>
#include <string>

namespace LK_2_13 {

/// Keeps the canonical form of the name; a null name reads as empty.
class ValidFile : public RefCountImpl<IValidFile> {
public:
    ValidFile(char const* name, confidence_t confidence, search_step_t step);

    char const* name() const override { return m_name.c_str(); }
    confidence_t confidence() const override { return m_confidence; }
    search_step_t searchStep() const override { return m_searchStep; }

private:
    friend class InvalidFile;
    /// Of a name that is canonical already: a second pass may change it, `./C:\prog` for one.
    ValidFile(std::string canonicalName, search_step_t step);

    std::string m_name;
    confidence_t m_confidence;
    search_step_t m_searchStep;
};

/// Keeps the canonical form of the name; null texts read as empty.
class InvalidFile : public RefCountImpl<IInvalidFile> {
public:
    InvalidFile(char const* name, severity_t severity, char const* errorMessage,
                search_step_t step);

    char const* name() const override { return m_name.c_str(); }
    severity_t severity() const override { return m_severity; }
    char const* errorMessage() const override { return m_errorMessage.c_str(); }
    search_step_t searchStep() const override { return m_searchStep; }
    ObjectPtr<IValidFile> forceTreatAsValid() const override;

private:
    std::string m_name;
    std::string m_errorMessage;
    severity_t m_severity;
    search_step_t m_searchStep;
};

class ValidatedFile : public RefCountImpl<IValidatedFile> {
public:
    explicit ValidatedFile(IValidFile& file) : m_pValidFile(&file) {}
    explicit ValidatedFile(IInvalidFile& file) : m_pInvalidFile(&file) {}

    ObjectPtr<IValidFile> validFile() override { return m_pValidFile; }
    ObjectPtr<IInvalidFile> invalidFile() override { return m_pInvalidFile; }

private:
    ObjectPtr<IValidFile> m_pValidFile;
    ObjectPtr<IInvalidFile> m_pInvalidFile;
};

/// Belongs to one search.
class StringContainer final : public IStringContainer {
public:
    void add(char const* text) override;
    std::list<std::string> const& list() const { return m_list; }

private:
    std::list<std::string> m_list;
};

/// The texts of the log.
std::string dump(StringContainer const& container);
/// The enumerator's name, or "Unknown search step" for anything else, unions of bits included.
std::string dump(search_step_t step);

} // namespace LK_2_13
