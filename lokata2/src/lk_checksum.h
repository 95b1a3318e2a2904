#pragma once

#include <lokata2/checksum.h>

#include "lk_lock.h"

#include <string>

namespace LK_2_13 {

class Checksum : public RefCountImpl<IChecksum> {
public:
    Checksum(std::string value, checksum_type_t type);

    checksum_type_t type() const override { return m_type; }
    char const* value() const override { return m_value.c_str(); }
    bool isEqualTo(IChecksum const& other) const override;

private:
    std::string m_value;
    checksum_type_t m_type;
};

/// Guards the live calculator and its counter. Recursive, as the last release runs the calculator's
/// destructor inside it; so nobody is handed a calculator that is being destroyed.
extern LKLock g_checkSumCalcLock;

/// Lives as long as somebody holds it.
class ChecksumCalculator : public RefCountImpl<IChecksumCalculator> {
public:
    explicit ChecksumCalculator(ILock* lock) : RefCountImpl<IChecksumCalculator>(lock) {}
    ~ChecksumCalculator() override;

    ObjectPtr<IChecksum> calculateChecksum(char const* fileName, checksum_type_t type) override;
    ObjectPtr<IChecksum> fromString(checksum_type_t type, char const* value) override;

    ObjectPtr<IChecksum> calculateMd5Checksum(char const* fileName);
    ObjectPtr<IChecksum> calculateSHA1Checksum(char const* fileName);
    /// Null for every file, which is never opened: no CRC is computed.
    ObjectPtr<IChecksum> calculateCRC32Checksum(char const* fileName);

private:
    friend class IChecksumCalculator;

    /// The live calculator or null; holds no reference.
    static ChecksumCalculator* s_instance TOOLBELT2_GUARDED_BY(g_checkSumCalcLock);
};

} // namespace LK_2_13
