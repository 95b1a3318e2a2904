#include "read/reasons.h"

#include <optstore2/message_catalog.h>

#include <gtest/gtest.h>

namespace lokata::profile::test {
namespace {

TEST(Reasons, AreFilledInByteForByteAndFallBackOnTheirKey) {
    EXPECT_EQ(reasonText(ReasonKey::build_id_mismatch, {"/{arg2}", "01", "02"}),
              "The build-id of \"/{arg2}\" is 01, not the recorded 02, so it is a different "
              "version.");
    optstore2::setMessageDirectory("");
    EXPECT_EQ(reasonText(ReasonKey::build_id_mismatch, {"/x", "01", "02"}),
              "%BuildIdMismatch (/x, 01, 02)");
    optstore2::setMessageDirectory(nullptr);
}

} // namespace
} // namespace lokata::profile::test
