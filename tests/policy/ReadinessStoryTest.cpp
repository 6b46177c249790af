// What makes a group ready, what makes it pending, and who owns an interface set.
#include "tests/scenery/Redirect.h"

using namespace Scenery;

namespace {

std::string const intfSets = "/state/kiv/serviceIntfConfig/site/intfSet/";
std::string const owners = "/agent/policyHelperInfo/intfUuidToOwnerPolicy/";

} // namespace

// While the far ports are gone alone, diverted frames would circle between the switch and the device.
TEST_F( Redirect, TheLastPortOfASetMakesTheGroupPending ) {
   for( char const * uuid : { "near", "far" } ) {
      SCOPED_TRACE( uuid );
      redirect();
      fabric.unplug( uuid, 'A' );
      EXPECT_EQ( fabric.stateOf( "web" ), "\"policyRunning\"" ) << "one port is left";
      fabric.unplug( uuid, 'B' );
      EXPECT_EQ( fabric.stateOf( "web" ), "\"policyPending\"" );
      EXPECT_TRUE( fabric.published().empty() );
      fabric.switchesAnswer();
      fabric.port( uuid, 'A' );
      fabric.port( uuid, 'B' );
      EXPECT_EQ( fabric.stateOf( "web" ), "\"policyRunning\"" );
      EXPECT_EQ( fabric.flows( 'C' ), none ) << "the service side first";
      fabric.switchesAnswer();
      EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
      fabric.expectRepeatChangesNothing();
   }
}

TEST_F( Redirect, AUuidThatWasCorrectedIsNoneOfTheGroups ) {
   fabric.group( "web", { "10.0.0.1" }, "typo", "far" );
   EXPECT_EQ( fabric.stateOf( "web" ), "\"policyPending\"" );
   fabric.patch( groups + "web/nearIntfUuid", "\"near\"" );
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   fabric.port( "typo", 'E' ); // somebody else's, by now
   fabric.unplug( "typo", 'E' );
   fabric.patch( intfSets + "typo", "null" );
   EXPECT_EQ( fabric.flows( 'E' ), none );
   EXPECT_EQ( fabric.stateOf( "web" ), "\"policyRunning\"" );
}

// Who takes the old set does so before the group has written down the new one.
TEST_F( Redirect, AUuidThatIsTakenInTheMidstOfAChangeIsNotYetTheGroups ) {
   fabric.group( "web", { "10.0.0.1" }, "n2", "far" );
   fabric.patch( groups + "web/nearIntfUuid", "\"near\"" );
   fabric.port( "n2", 'E' );
   fabric.host( "10.0.0.2", shop, 'D' );
   fabric.group( "shop", { "10.0.0.2" }, "near", "n2" );
   EXPECT_EQ( fabric.stateOf( "web" ) + fabric.stateOf( "shop" ), "\"policyRunning\"\"policyPending\"" );
   fabric.patch( groups + "web/nearIntfUuid", "\"n2\"" );
   EXPECT_EQ( fabric.stateOf( "web" ) + fabric.stateOf( "shop" ), "\"policyPending\"\"policyRunning\"" );
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'D', "shop-5010" ), insideFlows( { "10.0.0.2" } ) );
}

TEST_F( Redirect, AUuidThatIsLeftIsForWhoWaits ) {
   redirect();
   fabric.device( 'E', "n2", "f2" );
   fabric.host( "10.0.0.2", shop, 'D' );
   fabric.group( "shop", { "10.0.0.2" }, "f2", "near" );
   EXPECT_EQ( fabric.stateOf( "shop" ), "\"policyPending\"" ) << "one of the two is owned";
   fabric.patch( groups + "web/nearIntfUuid", "\"n2\"" );
   EXPECT_EQ( fabric.stateOf( "shop" ), "\"policyRunning\"" );
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   EXPECT_EQ( fabric.flows( 'D', "shop-5010" ), insideFlows( { "10.0.0.2" } ) );
}

TEST_F( Redirect, OnePortOfSeveralOnASwitchLeavesTheOthersPublished ) {
   auto const second = intfSets + "near/intf/" + Fabric::id( 'A' ) + "~1second";
   fabric.patch( second, R"({"allowedVlan": {"100": true}})" );
   redirect();
   fabric.expectAsWanted();
   fabric.patch( second, "null" );
   fabric.expectAsWanted();
}

TEST_F( Redirect, ARestoredGroupWithEqualOrEmptyUuidsOwnsNothing ) {
   redirect();
   fabric.host( "10.0.0.2", shop, 'D' );
   fabric.group( "shop", { "10.0.0.2" } ); // waits for the same sets
   for( char const * uuid : { "\"near\"", "\"\"" } ) {
      SCOPED_TRACE( uuid );
      Fabric after;
      after.takeOver( fabric );
      after.patch( groups + "web/farIntfUuid", uuid );
      after.start();
      EXPECT_EQ( after.stateOf( "web" ), "\"policyPending\"" );
      EXPECT_EQ( after.get( owners + "near" ), "\"shop\"" );
      EXPECT_EQ( after.get( owners ), "" );
      after.switchesAnswer();
      EXPECT_EQ( after.flows( 'D', "shop-5010" ), insideFlows( { "10.0.0.2" } ) );
   }
}

// A group may bear the name of an interface set.
TEST_F( Redirect, AFallBackGivesAwayOnlyWhatIsTheGroupsOwn ) {
   redirect();
   fabric.host( "10.0.0.2", shop, 'D' );
   fabric.port( "f2", 'E' );
   fabric.group( "near", { "10.0.0.2" }, "near", "f2" ); // cannot go on: "web" owns the set
   EXPECT_EQ( fabric.get( owners + "near" ), "\"web\"" );
   EXPECT_EQ( fabric.stateOf( "near" ), "\"policyPending\"" );
   EXPECT_EQ( fabric.stateOf( "web" ), "\"policyRunning\"" );
}

TEST_F( Redirect, ADeletedRunningRecordIsWrittenAnew ) {
   redirect();
   std::string const record = "/state/kiv/servicePolicyStatus/policyRunningInfo/web/hostInfo/10.0.0.1";
   auto const before = fabric.get( record );
   fabric.patch( record, "null" );
   EXPECT_EQ( fabric.get( record ), before );
   EXPECT_EQ( fabric.journal(), std::vector< std::string >() );
   fabric.host( "10.0.0.1", web, 'D', 5010, 2 );
   EXPECT_EQ( fabric.published(), diverted( "AB", "D" ) );
   fabric.patch( hostsOfWeb + "10.0.0.1~132", "null" );
   EXPECT_EQ( fabric.get( record ), "" ) << "the host left: the record goes";
}

TEST_F( Redirect, AnAddressIsNamedByAKeyOfWhateverMask ) {
   redirect();
   auto const flows = hostsOfWeb + "10.0.0.1~1";
   fabric.patch( flows + "24", "{}" );
   fabric.patch( flows + "24", "null" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) ) << "it is still named";
   fabric.patch( flows + "32", "null" );
   EXPECT_TRUE( fabric.published().empty() );
}

// A switch is drained and replaced while the feature is off, or while another controller leads.
TEST_F( Redirect, ASuccessorTakesThePlaceOfASwitchThatWentMeanwhile ) {
   fabric.vtep( 'D', "192.0.2.2" ); // a pair with "C"
   redirect();
   fabric.set( "enabled", "false" );
   fabric.patch( "/hub/vxlan/version2/vtepStatusDir/switch/" + Fabric::id( 'D', '-' ), "null" );
   fabric.vtep( 'E', "192.0.2.2" );
   fabric.switchesAnswer();
   fabric.set( "enabled", "true" );
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'E' ), insideFlows( { "10.0.0.1" } ) );
   EXPECT_EQ( fabric.flows( 'D' ), none );
}

TEST_F( Redirect, ACorrectedUuidTakesNoServiceVtepAway ) {
   redirect();
   fabric.port( "n2", 'A' );
   fabric.port( "n2", 'B' );
   fabric.unplug( "far", 'A' );
   fabric.journal();
   fabric.patch( groups + "web/nearIntfUuid", "\"n2\"" );
   EXPECT_EQ( fabric.journal(), std::vector< std::string >() );
}
