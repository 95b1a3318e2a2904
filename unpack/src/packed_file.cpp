#include <unpack/packed_file.h>

#include "signature.h"
#include "stream_decoder.h"

#include <toolbelt2/text.h>

#include <algorithm>

namespace lokata::unpack {

namespace {

/// The names of all packings of whole files, as "gzip, xz, zstd".
std::string packingNames() {
    std::string names;
    for (Form const& form : c_forms)
        if (!form.ending.empty())
            names.append(names.empty() ? "" : ", ").append(form.name);
    return names;
}

} // namespace

std::optional<Compression> packingOf(std::string_view content) {
    // Looser than where a stream is searched for, so that what else is wrong is told.
    for (Form const& form : c_forms)
        if (!form.ending.empty() && toolbelt2::starts_with(content, form.mark))
            return form.compression;
    return isSkippableFrame(content) ? std::optional(Compression::zstd) : std::nullopt;
}

std::string_view withoutPackedEnding(std::string_view fileName) {
    for (Form const& form : c_forms)
        if (!form.ending.empty() && toolbelt2::ends_with(fileName, form.ending))
            return fileName.substr(0, fileName.size() - form.ending.size());
    return fileName;
}

Unpacked unpackMemory(std::string_view packed, std::uint64_t limit) {
    Unpacked result;
    auto const compression = packingOf(packed);
    if (!compression) {
        result.error = "it is packed by none of " + packingNames();
        return result;
    }
    bool isTooLarge = false;
    auto const keep = [&](std::string_view bytes) {
        auto const room = limit - result.content.size();
        result.content.append(bytes.substr(0, std::min<std::uint64_t>(room, bytes.size())));
        isTooLarge = bytes.size() > room;
        return !isTooLarge;
    };
    std::string const name = std::string("the ") + compressionName(*compression) + " stream ";
    try {
        MemoryReader reader(packed);
        auto const decoder = makeStreamDecoder(*compression, Extent::all);
        result.offset = decodeStreams(*decoder, reader, Extent::all, keep);
    } catch (StreamFault const& fault) {
        result.error = name + fault.what();
        result.offset = fault.offset;
    }
    if (isTooLarge)
        result.error = name + "holds more than the limit of " + std::to_string(limit) + " bytes";
    return result;
}

} // namespace lokata::unpack
