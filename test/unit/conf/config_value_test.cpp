// SPDX-License-Identifier: MIT

#include "conf/config_value.h"

#include "printed_text.h"
#include "support/redirected_files.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using keldo::configValue;
using keldo::test::inFreshProcess;
using keldo::test::onBothStreams;
using keldo::test::printedBy;
using keldo::test::redirectFile;
using keldo::test::TemporaryDirectory;

namespace {

const char* const confFile = "/etc/kvr/kvr.conf";

} // namespace

TEST(ConfigValue, IsACopyOfTheFilesValueOrOfTheDefault) {
    const TemporaryDirectory directory;
    const std::string file = directory.write("kvr.conf", "PRODUCT_ROOT_D /opt/kvr\n");
    for (const bool exists : {false, true}) {
        SCOPED_TRACE(exists);
        redirectFile(confFile, exists ? file : "");
        inFreshProcess([exists] {
            const std::string expected = exists ? "/opt/kvr" : "/usr/local/kvr";
            EXPECT_EQ(configValue("PRODUCT_ROOT_D"), expected);
            configValue("PRODUCT_ROOT_D").assign("changed");
            EXPECT_EQ(configValue("PRODUCT_ROOT_D"), expected);
        });
    }
}

TEST(ConfigValue, IsEmptyForAnUnknownVariableAndReportsIt) {
    const TemporaryDirectory directory;
    redirectFile(confFile, directory.write("kvr.conf", "PRODUCT_ETC_D /opt/kvr/etc\n"));
    inFreshProcess([] {
        for (int call = 1; call <= 2; ++call) {
            SCOPED_TRACE(call);
            std::string path;
            const auto printed = printedBy([&] {
                errno = 0;
                path = configValue("PRODUCT_ETC_D") + "/service/";
            });
            EXPECT_EQ(path, "/service/");
            EXPECT_EQ(printed, onBothStreams("variable 'PRODUCT_ETC_D' isn't found neither in "
                                             "/etc/kvr/kvr.conf nor in compile-time defaults\n"));
        }
    });
}
