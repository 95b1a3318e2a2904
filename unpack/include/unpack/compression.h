#pragma once

namespace lokata::unpack {

/// How bytes are packed; `c_forms` of src/signature.h tells the marks and names. `lzo` is
/// recognised but never unpacked.
enum class Compression { gzip, xz, zstd, lz4, bzip2, lzma, lzo };

/// The usual lower case name, such as "xz".
char const* compressionName(Compression compression);

} // namespace lokata::unpack
