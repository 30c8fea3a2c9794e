// SPDX-License-Identifier: MIT

#include "monitor/service_catalogue.h"

#include "monitor/forced_failures.h"
#include "support/fake_panel.h"

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

namespace keldo {
namespace {

class ServiceCatalogueTest : public testing::Test {
protected:
    test::FakePanel panel;
    ServiceCatalogue catalogue;
    test::ForcedFailuresEnd failuresEnd;
};

TEST_F(ServiceCatalogueTest, ReadsAFileOnce) {
    panel.define("web", test::definitionXml("web", "<action type='start'>x</action>"));
    const ServiceDefinition first = catalogue.lookup("web");
    panel.define("web", test::definitionXml("web", "<action type='start'>changed</action>"));
    EXPECT_EQ("x", first.startAction);
    EXPECT_EQ(first, catalogue.lookup("web"));
    EXPECT_EQ(1, panel.readsOf("web"));
}

TEST_F(ServiceCatalogueTest, CachesMissingFiles) {
    EXPECT_EQ(ServiceDefinition(), catalogue.lookup("web"));
    panel.define("web", test::definitionXml("web", ""));
    EXPECT_EQ(ServiceDefinition(), catalogue.lookup("web"));
    EXPECT_EQ(1, panel.readsOf("web"));
}

TEST_F(ServiceCatalogueTest, CachesByTheRequestedIdBytewise) {
    panel.define("web", test::definitionXml("apache", ""));
    EXPECT_EQ("", catalogue.lookup("Web").id);
    EXPECT_EQ("apache", catalogue.lookup("web").id);
    EXPECT_EQ("apache", catalogue.lookup("web").id);
    EXPECT_EQ("", catalogue.lookup("apache").id);
    EXPECT_EQ(1, panel.readsOf("web"));
    EXPECT_EQ(1, panel.readsOf("apache"));
}

TEST_F(ServiceCatalogueTest, ReturnsCopies) {
    panel.define("web", test::definitionXml("web", ""));
    ServiceDefinition definition = catalogue.lookup("web");
    definition.id = "changed";
    EXPECT_EQ("web", catalogue.lookup("web").id);
}

TEST_F(ServiceCatalogueTest, CachesNothingIfTheDefinitionThrows) {
    panel.define("web", test::definitionXml("web", ""));
    test::forcedFailures.registerNamespace = true;
    EXPECT_THROW(catalogue.lookup("web"), boost::bad_lexical_cast);
    test::forcedFailures.registerNamespace = false;
    EXPECT_EQ("web", catalogue.lookup("web").id);
    EXPECT_EQ(2, panel.readsOf("web"));
}

TEST_F(ServiceCatalogueTest, HasOneInstance) {
    panel.define("web", test::definitionXml("web", ""));
    ServiceCatalogue::instance().lookup("web");
    ServiceCatalogue::instance().lookup("web");
    EXPECT_EQ(1, panel.readsOf("web"));
}

} // namespace
} // namespace keldo
