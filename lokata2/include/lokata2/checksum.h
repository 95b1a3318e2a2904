#pragma once

#include <lokata2/object.h>

#include <cstdint>

namespace LK_2_13 {

/// The algorithms.
enum checksum_type_t : std::uint32_t {
    ctMd5 = 0,
    ctSha1 = 1,
    /// Can be carried and compared, but is not computed.
    ctCrc32 = 2
};

/// Immutable.
class LOKATA2_EXPORT IChecksum : public ILKObject {
public:
    virtual checksum_type_t type() const = 0;
    /// Hexadecimal text, valid while the object lives.
    virtual char const* value() const = 0;
    /// Same type and same text, whatever the case of its letters.
    virtual bool isEqualTo(IChecksum const& other) const = 0;
};

/// Computes the checksums of files. One object per process at a time; any number of threads may
/// compute through it at once.
class LOKATA2_EXPORT IChecksumCalculator : public ILKObject {
public:
    /// The object that is in use, or a new one if nobody holds one. Never null; callable from any
    /// thread.
    static ObjectPtr<IChecksumCalculator> create();

    /// Reads the whole file at every call, with constant memory. Null for a null name, a file that
    /// cannot be opened or read to its end, `ctCrc32` and unknown types. Raises
    /// `std::runtime_error` where a policy of the machine forbids the algorithm.
    virtual ObjectPtr<IChecksum> calculateChecksum(char const* fileName, checksum_type_t type) = 0;
    /// Takes a text as it is, of any type; nothing is parsed. Null for a null value.
    virtual ObjectPtr<IChecksum> fromString(checksum_type_t type, char const* value) = 0;
};

} // namespace LK_2_13
