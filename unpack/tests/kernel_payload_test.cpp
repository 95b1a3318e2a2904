#include "made_bytes.h"
#include "packers.h"
#include "temp_tree.h"

#include <unpack/compression.h>
#include <unpack/kernel_payload.h>

#include <gmock/gmock.h>
#include <map>
#include <sys/stat.h>

namespace {

using namespace lokata::unpack;
using namespace lokata::unpack::test;
using namespace std::string_literals;
using ::testing::HasSubstr;

std::string const c_kernel = "\x7f\x45LF\x02\x01\x01"s + std::string(57, '\0') + noise(300000);

/// A legacy frame of two blocks, each one run of literals.
std::string lz4(std::string_view data) {
    std::string packed = "\x02\x21\x4c\x18";
    for (auto const& part : {data.substr(0, data.size() / 2), data.substr(data.size() / 2)}) {
        std::size_t const rest = part.size() - 15;
        std::string const block =
            "\xf0" + std::string(rest / 255, '\xff') + static_cast<char>(rest % 255);
        packed.append(number(block.size() + part.size(), 4) + block).append(part);
    }
    return packed;
}

std::string pack(std::string const& data, Compression compression) {
    static std::map<Compression, std::string (*)(std::string_view)> const packers{
        {Compression::gzip, gzip}, {Compression::xz, xz},       {Compression::zstd, zstd},
        {Compression::lz4, lz4},   {Compression::bzip2, bzip2}, {Compression::lzma, lzma}};
    return packers.at(compression)(data);
}

/// As a kernel build does: all but gzip get the unpacked size appended.
std::string withSize(std::string const& packed, Compression compression) {
    return compression == Compression::gzip ? packed : packed + number(c_kernel.size(), 4);
}

std::string const c_decoys = "\x1f\x8b\x08\x00"s +
                             "\xfd"
                             "7zXZ\0"s +
                             "BZh91AY&SY"s + "\x02\x21\x4c\x18"s + "\x28\xb5\x2f\xfd"s;
std::string const c_tail = std::string(333, '\x5a') + c_decoys;

std::string x86Image(std::string const& payload, std::size_t declaredSize) {
    std::string image(0x1f1, '\x90');
    image += number(3, 1);
    image.resize(0x1fe, '\0');
    image += "\x55\xaa\xeb\x66HdrS"s + number(0x20f, 2);
    image.resize(0x248, '\0');
    image += number(0x123, 4) + number(declaredSize, 4);
    image += c_decoys;
    image.resize(4 * 512 + 0x123, '\0');
    return image + payload;
}

std::string zbootImage(std::string const& payload, std::size_t declaredSize) {
    std::string image = "MZ\0\0zimg"s + number(0x200, 4) + number(declaredSize, 4);
    image.resize(0x200, '\0');
    return image + payload;
}

/// The payload's signature lies across the border of two blocks of the scan.
std::string plainImage(std::string const& payload) {
    std::string image = c_decoys;
    image.resize(0x40000 - 2, '\0');
    return image + payload;
}

class KernelPayload : public ::testing::Test {
protected:
    UnpackResult unpack(std::string const& image) {
        m_tree.file("vmlinuz", image);
        return unpackKernel(m_image, m_target);
    }
    /// What comes out is the kernel.
    void expectKernel(std::string const& image, std::string const& kernel) {
        auto const result = unpack(image);
        ASSERT_TRUE(result.ok) << result.message;
        EXPECT_EQ(result.size, kernel.size());
        EXPECT_TRUE(contentOf(m_target) == kernel);
    }
    auto files() { return std::distance(std::filesystem::directory_iterator(m_tree.root()), {}); }

    /// A failure says why and leaves an older target alone, and nothing else.
    void expectFailure(std::string const& image, std::string const& reason) {
        m_tree.file("vmlinux", "older");
        auto const result = unpack(image);
        EXPECT_FALSE(result.ok);
        EXPECT_THAT(result.message, HasSubstr(reason));
        EXPECT_EQ(contentOf(m_target), "older");
        EXPECT_EQ(files(), 2);
    }

    TempTree m_tree;
    std::string const m_image = m_tree.path("vmlinuz");
    std::string const m_target = m_tree.path("vmlinux");
};

class EachCompression : public KernelPayload, public ::testing::WithParamInterface<Compression> {};

INSTANTIATE_TEST_SUITE_P(KernelPayload, EachCompression,
                         ::testing::Values(Compression::gzip, Compression::xz, Compression::zstd,
                                           Compression::lz4, Compression::bzip2, Compression::lzma),
                         [](auto const& param) { return compressionName(param.param); });

TEST_P(EachCompression, IsFoundByEitherHeaderAndWithoutOne) {
    std::string const packed = pack(c_kernel, GetParam());
    std::string const payload = withSize(packed, GetParam());
    for (auto const& image :
         {x86Image(payload + c_tail, payload.size()), zbootImage(payload + c_tail, packed.size()),
          zbootImage(payload + c_tail, payload.size()), plainImage(payload), packed})
        expectKernel(image, c_kernel);
}

TEST_P(EachCompression, CutShortIsRefused) {
    std::string const packed = pack(c_kernel, GetParam());
    std::string const half = packed.substr(0, packed.size() * 3 / 4);
    expectFailure(x86Image(half, half.size()), "cut short");
    expectFailure(x86Image(half, packed.size()), "truncated");
    // Only the size that lz4 lets follow tells of a cut at the border of a block.
    std::string const needed =
        GetParam() == Compression::lz4 ? withSize(packed, GetParam()) : packed;
    for (std::size_t i = 0; i < 24; ++i) {
        std::size_t const size = i < 12 ? needed.size() - 1 - i : needed.size() / 12 * (i - 12);
        EXPECT_FALSE(unpack(x86Image(needed.substr(0, size), size)).ok) << size;
    }
    std::string const firstBlockOfLz4 = packed.substr(0, 8 + (packed.size() - 12) / 2);
    EXPECT_FALSE(unpack(plainImage(firstBlockOfLz4)).ok);
}

TEST_P(EachCompression, DamagedIsRefused) {
    std::string packed = pack(c_kernel, GetParam());
    std::size_t const middle = packed.size() / 2;
    if (GetParam() == Compression::lz4) {
        // No checksum: only damage to its structure shows, here in the head of the second block.
        packed[packed.find('\xf0', packed.size() / 3) + 1] = 'x';
    } else {
        packed[middle] = static_cast<char>(packed[middle] ^ 0x10);
    }
    std::string const payload = withSize(packed, GetParam());
    expectFailure(x86Image(payload, payload.size()), compressionName(GetParam()));
}

TEST_F(KernelPayload, TheGzipStreamThatAHeaderNamesIsUnpackedAndNotAnEarlierOne) {
    std::string packed = gzip(c_kernel);
    constexpr char c_extraNameAndComment = 4 | 8 | 16;
    packed[3] = c_extraNameAndComment;
    packed.insert(10, "\x02\0xxvmlinux.bin\0a comment\0"s);
    auto image = x86Image(packed, packed.size());
    auto const decoy = gzip(c_kernel.substr(0, 100));
    ASSERT_LT(decoy.size(), 512U);
    image.replace(0x400, decoy.size(), decoy);
    expectKernel(image, c_kernel);
}

TEST_F(KernelPayload, AStreamWithoutAKernelIsPassedOverByTheScanAndRefusedBehindAHeader) {
    std::string const other = xz(noise(5000));
    expectKernel(other + zstd(c_kernel), c_kernel);
    expectFailure(x86Image(other, other.size()), "neither an ELF file nor a kernel image");
}

TEST_F(KernelPayload, AFlatBootImageIsAKernelToo) {
    std::string const kernel = "MZ"s + std::string(54, '\0') + "ARM\x64" + noise(1000);
    auto const packed = gzip(kernel);
    expectKernel(zbootImage(packed, packed.size()), kernel);
}

TEST_F(KernelPayload, WhatCannotBeUnpackedIsNamed) {
    auto const lzo = "\x89LZO\0\r\n\x1a\n"s + c_kernel;
    expectFailure(x86Image(lzo, lzo.size()), "lzo is not supported");
    expectFailure(plainImage(lzo), "lzo is not supported");
    expectFailure(x86Image("no signature", 12), "no known compression signature");
    expectFailure(zbootImage("", 0xffffffff), "truncated");
    expectFailure(c_kernel + lzo, "it is not compressed");
    expectFailure(c_decoys, "no compressed kernel");
    expectFailure("", "no compressed kernel");
    std::string const oneGiBDictionary = "\x5d"s + number(1u << 30, 4) + std::string(8, '\xff');
    expectFailure(oneGiBDictionary + std::string(100, '\0'), "more memory");
}

TEST_F(KernelPayload, OnlyARegularFileIsAnImage) {
    EXPECT_THAT(unpackKernel(m_image, m_target).message, HasSubstr("No such file"));
    EXPECT_THAT(unpackKernel(m_tree.root(), m_target).message, HasSubstr("not a regular file"));
    ASSERT_EQ(::mkfifo(m_image.c_str(), 0600), 0);
    EXPECT_THAT(unpackKernel(m_image, m_target).message, HasSubstr("not a regular file"));
    EXPECT_FALSE(std::filesystem::exists(m_target));
}

TEST_F(KernelPayload, AnUnfitTargetIsLeftAlone) {
    auto const image = gzip(c_kernel);
    m_tree.file("vmlinuz", image);
    std::filesystem::create_hard_link(m_image, m_target);
    EXPECT_THAT(unpackKernel(m_image, m_target).message, HasSubstr("the image itself"));
    EXPECT_TRUE(contentOf(m_image) == image);
    ASSERT_EQ(::mkfifo(m_tree.path("pipe").c_str(), 0600), 0);
    m_tree.link("link", m_tree.file("victim", "older"));
    m_tree.link("dangling", m_tree.path("new"));
    for (auto const& target : {m_tree.root(), m_tree.path("pipe"), m_tree.path("link"),
                               m_tree.path("dangling"), "/dev/null"s})
        EXPECT_THAT(unpackKernel(m_image, target).message, HasSubstr("not a regular file"));
    EXPECT_EQ(contentOf(m_tree.path("victim")), "older");
    EXPECT_EQ(files(), 6);
    EXPECT_THAT(unpackKernel(m_image, m_tree.path("none/x")).message, HasSubstr("No such file"));
}

TEST_F(KernelPayload, AKernelAboveTheLimitIsRefused) {
    m_tree.file("vmlinuz", xz(c_kernel));
    EXPECT_THAT(unpackKernel(m_image, m_target, c_kernel.size() - 1).message,
                HasSubstr("more than"));
    EXPECT_EQ(files(), 1);
    EXPECT_TRUE(unpackKernel(m_image, m_target, c_kernel.size()).ok);
}

} // namespace
