// What the agent concludes from the switches' reports.
#include "feedback/KivErrorStatus.h"

#include "platform/lum/Log.h"
#include "tests/platform/lum/Steps.h"

#include <optional>

using namespace Kiv;

namespace {

using Status = std::optional< std::uint32_t >; // of a flow; none: the switch does not mention it

Lum::Name const switchA = "02-00-aa-bb-cc-0a", switchB = "02-00-aa-bb-cc-0b", switchC = "02-00-aa-bb-cc-0c";
Vxlan::VniOrNone const vni( 100 );

/// One group, "dmz-web", with one host.
class ErrorStatusTest : public testing::Test {
 protected:
   ErrorStatusTest() {
      auto const take = []( void * to, Lum::LogMessage const & message ) {
         static_cast< std::vector< std::string > * >( to )->push_back( message.text.str() );
      };
      Lum::logSinkIs( take, &logs );
      start();
   }
   ~ErrorStatusTest() override { Lum::logSinkIs( nullptr, nullptr ); }

   void start() { errorStatusSm = errorStatusSmFactory( running, Lum::Ptr< Lum::Dir const >( reports ), intfs ); }

   void report( Lum::Name const & name, char const * fragmentName, char const * flow, Status status ) {
      auto const all = reports->createEntity< V1::KivPolicyFragmentStatus >( name );
      auto const fragment = all->policyFragmentIs( fragmentName );
      fragment->originalVniIs( vni );
      status ? fragment->flowStatusIs( { flow, *status, "", {} } ) : fragment->flowStatusDel( flow );
   }
   void reportService( Lum::Name const & name, char const * fragment, Status ingress, Status egress ) {
      report( name, fragment, "ServiceVtepIngress", ingress );
      report( name, fragment, "ServiceVtepEgress", egress );
   }
   bool converged( char const * switchId ) const {
      auto const fragment = web->fragmentRunningInfo( vni );
      return fragment && fragment->serviceVtepFlowConverged( SwitchId( switchId ) );
   }

   std::vector< std::string > logs;
   Lum::Ptr< Lum::Dir > reports{ new Lum::Dir( "switch" ) };
   Lum::Ptr< PolicyRunningInfoCol > running{ new PolicyRunningInfoCol( "running" ) };
   Lum::Ptr< ServiceIntfConfig const > intfs{ new ServiceIntfConfig( "intfs" ) };
   Lum::Ptr< PolicyRunningInfo > web = running->policyRunningInfoIs( "dmz-web" );
   Lum::Ptr< HostRunningInfo > host = web->hostInfoIs( Neroli::IpGenAddr( "2001:db8::1" ) );
   Lum::Ptr< ErrorStatusSm > errorStatusSm;
};

TEST_F( ErrorStatusTest, AServiceVtepHasConvergedWithBothFlowsProgrammed ) {
   struct {
      Status ingress, egress;
      bool converged;
      unsigned logs; // one for each report of a rejected flow that says something new
   } const reported[] = { { 2, {}, false, 0 }, { 2, 2, true, 0 }, { 2, 3, false, 1 }, { 3, 3, false, 1 },
                          { 1, 2, false, 0 },  { 2, 2, true, 0 }, { {}, 2, false, 0 } };
   for( auto const & [ ingress, egress, expected, count ] : reported ) {
      SCOPED_TRACE( testing::Message() << ingress.value_or( 9 ) << " " << egress.value_or( 9 ) );
      logs.clear();
      reportService( switchA, "dmz-web-100", ingress, egress );
      EXPECT_EQ( converged( "02:00:aa:bb:cc:0a" ), expected );
      EXPECT_EQ( logs, std::vector< std::string >( count, "Unable to install redirect rule on VTEP 02:00:aa:bb:cc:0a "
                                                          "for policy dmz-web for VNI 100" ) );
      web->fragmentRunningInfoDelAll();
      start(); // a machine that is made now sees the same
      EXPECT_EQ( converged( "02:00:aa:bb:cc:0a" ), expected );
   }
}

TEST_F( ErrorStatusTest, AHostsFlowIsPresentWhileAnySwitchHoldsIt ) {
   auto const say = [ this ]( Lum::Name const & name, Status status, char const * fragment = "dmz-web-100" ) {
      report( name, fragment, "InsideVtepIngress-2001:db8::1", status );
   };
   Step const story[] = {
      { "the host appears", [ & ] { say( switchA, 2 ); }, "present" },
      { "the other switch of the pair has it, too", [ & ] { say( switchB, 2 ); }, "present" },
      { "the first drops it", [ & ] { say( switchA, {} ); }, "present" },
      { "the second is refused", [ & ] { say( switchB, 3 ); }, "" },
      { "and succeeds", [ & ] { say( switchB, 2 ); }, "present" },
      { "another fragment has such a flow", [ & ] { say( switchC, 2, "dmz-web-200" ); }, "present" },
      { "which is none of this one", [ & ] { say( switchB, 1 ); }, "" },
   };
   play( story, [ this ] { return host->insideVtepIngressFlowPresent() ? "present" : ""; } );
}

TEST_F( ErrorStatusTest, AHostMayJoinAfterTheReportOfItsFlow ) {
   for( char const * flow : { "InsideVtepIngress-10.0.0.7", "InsideVtepIngress-10.0.0.8" } ) {
      report( switchA, "dmz-web-100", flow, 2 );
   }
   report( switchA, "dmz-web-100", "InsideVtepIngress-10.0.0.8", 1 );
   EXPECT_TRUE( web->hostInfoIs( Neroli::IpGenAddr( "10.0.0.7" ) )->insideVtepIngressFlowPresent() );
   EXPECT_FALSE( web->hostInfoIs( Neroli::IpGenAddr( "10.0.0.8" ) )->insideVtepIngressFlowPresent() );
}

TEST_F( ErrorStatusTest, ForeignReportsChangeNothing ) {
   report( switchA, "dmz-web-100", "InsideVtepIngress-2001:db8::1", 2 );
   auto const exceptions = Lum::notificationExceptions();
   for( char const * flow : { "InsideVtepIngress-10.0.0.99", "InsideVtepIngress", "InsideVtepIngress-",
                              "InsideVtepIngress-nobody", "InsideVtepEgress", "Other-2001:db8::1" } ) {
      for( Status const status : { Status( 2 ), Status() } ) report( switchA, "dmz-web-100", flow, status );
   }
   reportService( switchA, "unknown-100", 2, 3 );
   EXPECT_EQ( Lum::notificationExceptions(), exceptions );
   EXPECT_TRUE( host->insideVtepIngressFlowPresent() );
   EXPECT_EQ( web->hostInfo().size() + web->fragmentRunningInfo().size() + running->policyRunningInfo().size(), 2u );
   EXPECT_EQ( logs.size(), 0u );
}

TEST_F( ErrorStatusTest, WhatASwitchSaidGoesWithIt ) {
   auto const reportsOfA = [ & ] { return Lum::entryOf< V1::KivPolicyFragmentStatus >( reports, switchA ); };
   struct {
      char const * story;
      std::function< void() > event;
      bool stays;
   } const cases[] = {
      { "the fragment goes", [ & ] { reportsOfA()->policyFragmentDel( "dmz-web-100" ); }, false },
      { "the switch goes", [ & ] { reports->entityPtrDel( switchA ); }, false },
      { "something else is there", [ & ] { reports->entityPtrIs( switchA, new Lum::Dir( switchA ) ); }, false },
      { "the machine goes", [ & ] { errorStatusSm = nullptr; }, true },
   };
   SwitchId const b( "02:00:aa:bb:cc:0b" );
   web->serviceVtepSwitchIdIs( SwitchId( "02:00:aa:bb:cc:0a" ), true );
   web->originalToServiceVniIs( vni, Vxlan::VniOrNone( 500 ) );
   for( auto const & [ story, event, stays ] : cases ) {
      SCOPED_TRACE( story );
      for( auto const & name : { switchA, switchB } ) reportService( name, "dmz-web-100", 2, 2 );
      report( switchA, "dmz-web-100", "InsideVtepIngress-2001:db8::1", 2 );
      event();
      EXPECT_EQ( converged( "02:00:aa:bb:cc:0a" ), stays );
      EXPECT_EQ( host->insideVtepIngressFlowPresent(), stays );
      reports->entityPtrDel( switchB ); // which is no service VTEP any more
      EXPECT_TRUE( converged( "02:00:aa:bb:cc:0b" ) );
      web->serviceVtepSwitchIdIs( b, true ); // and comes back silent
      EXPECT_EQ( converged( "02:00:aa:bb:cc:0b" ), stays );
      web->serviceVtepSwitchIdDel( b );
   }
}

} // namespace
