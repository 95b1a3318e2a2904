#include "lk_checksum.h"

#include <toolbelt2/digest.h>

#include <utility>

#include <strings.h>

namespace LK_2_13 {

LKLock g_checkSumCalcLock;
ChecksumCalculator* ChecksumCalculator::s_instance = nullptr;

namespace {

template <class Digest>
ObjectPtr<IChecksum> digestOf(char const* fileName, checksum_type_t type) {
    constexpr unsigned c_blockSize = 4096;
    if (fileName == nullptr)
        return {};
    Digest digest;
    if (!digest.update_from_file(toolbelt2::path_t(fileName), c_blockSize))
        return {};
    return new Checksum(digest.get_digest_base16(), type);
}

} // namespace

Checksum::Checksum(std::string value, checksum_type_t type)
    : m_value(std::move(value)), m_type(type) {}

bool Checksum::isEqualTo(IChecksum const& other) const {
    return other.type() == m_type && strcasecmp(m_value.c_str(), other.value()) == 0;
}

ObjectPtr<IChecksumCalculator> IChecksumCalculator::create() {
    LKLockWrap const guard(&g_checkSumCalcLock);
    if (ChecksumCalculator::s_instance == nullptr)
        ChecksumCalculator::s_instance = new ChecksumCalculator(&g_checkSumCalcLock);
    return ChecksumCalculator::s_instance;
}

ChecksumCalculator::~ChecksumCalculator() {
    LKLockWrap const guard(&g_checkSumCalcLock);
    s_instance = nullptr;
}

ObjectPtr<IChecksum> ChecksumCalculator::calculateChecksum(char const* fileName,
                                                           checksum_type_t type) {
    switch (type) {
    case ctMd5:
        return calculateMd5Checksum(fileName);
    case ctSha1:
        return calculateSHA1Checksum(fileName);
    case ctCrc32:
        return calculateCRC32Checksum(fileName);
    }
    return {};
}

ObjectPtr<IChecksum> ChecksumCalculator::fromString(checksum_type_t type, char const* value) {
    if (value == nullptr)
        return {};
    return new Checksum(value, type);
}

ObjectPtr<IChecksum> ChecksumCalculator::calculateMd5Checksum(char const* fileName) {
    return digestOf<toolbelt2::md5_t>(fileName, ctMd5);
}

ObjectPtr<IChecksum> ChecksumCalculator::calculateSHA1Checksum(char const* fileName) {
    return digestOf<toolbelt2::sha1_t>(fileName, ctSha1);
}

ObjectPtr<IChecksum> ChecksumCalculator::calculateCRC32Checksum(char const*) {
    return {};
}

} // namespace LK_2_13
