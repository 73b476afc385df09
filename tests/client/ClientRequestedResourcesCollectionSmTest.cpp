#include <gmock/gmock.h>

#include "tests/Raised.h"
#include "tests/client/ClientFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using TestSupport::raised;
using ClientRequestedResourcesCollectionSmTest = ClientFixture;

// The rest of this machine's behaviour is in tests/scenarios/client-leaves.yaml.
TEST_F(ClientRequestedResourcesCollectionSmTest,
       NewEntityUnderALiveEntryIsRefusedAndTheOldRequestsStay) {
  start();
  auto const old = clientCollection("c1");
  old->resourcesForSwitchportIs(intf("eth1"))->vlanIs(10);
  auto const fresh = Client::RequestedResourcesCollectionIs(Vek::Name("c1"));
  fresh->resourcesForSwitchportIs(intf("eth1"))->vlanIs(99);
  EXPECT_THAT(
      raised<Vek::NameInUseException>([&] { clientDir->entityPtrIs(Vek::Name("c1"), fresh); }),
      ::testing::HasSubstr("Reinstantiating the pointer interface where constructor parameter "
                           "attribute _requestedResourcesCollection has a different value of "));
  ASSERT_NE(combiner("c1"), nullptr);
  EXPECT_EQ(combiner("c1")->requestedResourcesCollection(), old);
  EXPECT_NE(portVlan("eth1", 10), nullptr);
  EXPECT_EQ(portVlan("eth1", 99), nullptr);
  // The old collection is still heard.
  old->resourcesForSwitchportIs(intf("eth1"))->vlanIs(11);
  EXPECT_NE(portVlan("eth1", 11), nullptr);
  // And the client still leaves with its entry.
  leave("c1");
  EXPECT_EQ(combiner("c1"), nullptr);
  EXPECT_EQ(port("eth1"), nullptr);
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
