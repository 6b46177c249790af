// Which switches own each VTEP address, as a fabric comes up and changes.
#include "location/KivVtepStatusSm.h"
#include "tests/platform/lum/Steps.h"

#include <numeric>
#include <set>

using namespace Kiv;

TEST( VtepStatus, SwitchesJoinAndLeaveThePairOfAnAddress ) {
   Lum::Ptr< PolicyHelperInfo > const helper( new PolicyHelperInfo( "PolicyHelperInfo" ) );
   Lum::Ptr< Lum::Dir > const dir( new Lum::Dir( "switch" ) );
   Lum::Ptr< VtepStatusRootSm > root;
   auto const start = [ & ] { root = vtepStatusRootSmFactory( helper, Lum::Ptr< Lum::Dir const >( dir ) ); };
   auto const recordOf = [ & ]( char const * name, char const * record = "" ) {
      return dir->createEntity< Loomis::VtepStatusDirV2 >( name )->vtepStatusIs( record );
   };
   auto const report = [ & ]( char const * name, unsigned ip ) {
      recordOf( name )->vtepIpAddrIs( Neroli::IpAddr( ip ) );
   };
   auto const recordDel = [ & ]( char const * name ) {
      Lum::entryOf< Loomis::VtepStatusDirV2 >( dir, name )->vtepStatusDel( "" );
   };
   auto const maps = [ & ] { // "1=b/a a1 b1" if a and b share 0.0.0.1
      std::set< std::string > parts;
      for( auto const & [ ip, pair ] : helper->vtepIpToSwitchPair() ) {
         parts.insert( Lum::textOf( ip ).substr( 6 ) + Lum::textOf( "=", pair, " " ) );
      }
      for( auto const & [ id, ip ] : helper->vtepSwitchIdToIp() ) parts.insert( Lum::textOf( id, ip.value(), " " ) );
      return std::accumulate( parts.begin(), parts.end(), std::string() );
   };
   Step const story[] = {
      { "a start finds a switch", [ & ] { report( "a", 1 ), start(); }, "1=a a1 " },
      { "its peer shares the address", [ & ] { report( "b", 1 ); }, "1=b/a a1 b1 " },
      { "a third one is not added, but known", [ & ] { report( "c-c", 1 ); }, "1=b/a a1 b1 c:c1 " },
      { "and goes, with its address known", [ & ] { recordDel( "c-c" ); }, "1=b/a a1 b1 c:c1 " },
      { "a member changes its address", [ & ] { report( "a", 2 ); }, "1=b 2=a a2 b1 c:c1 " },
      { "the last member has none any more", [ & ] { report( "b", 0 ); }, "2=a a2 c:c1 " },
      { "it joins the other", [ & ] { report( "b", 2 ); }, "2=b/a a2 b2 c:c1 " },
      { "a record goes, and the address stays known", [ & ] { recordDel( "a" ); }, "2=b a2 b2 c:c1 " },
      { "something else is there", [ & ] { dir->entityPtrIs( "b", new Lum::Dir( "b" ) ); }, "a2 b2 c:c1 " },
      { "and the switch again", [ & ] { report( "b", 1 ); }, "1=b a2 b1 c:c1 " },
      { "another record: the latest counts", [ & ] { recordOf( "b", "x" )->vtepIpAddrIs( Neroli::IpAddr( 3 ) ); },
        "3=b a2 b3 c:c1 " },
      { "the record of an address that was left goes", [ & ] { recordDel( "b" ); }, "3=b a2 b3 c:c1 " },
      { "a stop leaves all, and a start goes on", [ & ] { root = nullptr, report( "a", 3 ), start(); },
        "3=a/b a3 b3 c:c1 " },
      { "a switch goes with its record", [ & ] { dir->entityPtrDel( "a" ); }, "3=b a3 b3 c:c1 " }
   };
   play( story, maps );
}
