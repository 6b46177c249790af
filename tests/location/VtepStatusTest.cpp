// Which switches own each VTEP address, as a fabric comes up and changes.
#include "location/KivVtepStatusSm.h"

#include <functional>
#include <gtest/gtest.h>

using namespace Kiv;

namespace {

/// The switches are called a, b, c; their VTEP addresses 10.0.0.1 and 10.0.0.2 are 1 and 2, and 0 is none.
class VtepStatusTest : public testing::Test {
 protected:
   static Lum::Name directoryKey( char letter ) { return std::string( "02-00-00-00-00-0" ) + letter; }
   static Neroli::IpAddr vtep( unsigned number ) { return Neroli::IpAddr( number ? 0x0a000000 + number : 0 ); }

   void start() { root = vtepStatusRootSmFactory( helper, Lum::Ptr< Lum::Dir const >( baseDir ) ); }
   Lum::Ptr< Loomis::VtepStatusDirV2 > switchOf( char letter ) {
      return baseDir->createEntity< Loomis::VtepStatusDirV2 >( directoryKey( letter ) );
   }
   void report( char letter, unsigned number, char const * record = "default" ) {
      switchOf( letter )->vtepStatusIs( record )->vtepIpAddrIs( vtep( number ) );
   }
   void switchDel( char letter ) { baseDir->entityPtrDel( directoryKey( letter ) ); }

   /// Both maps: "1=ba a1 b1" if a and b share the first address.
   std::string maps() const {
      std::string text;
      auto const letterOf = []( Lum::String const & id ) { return id.empty() ? "" : id.str().substr( 16 ); };
      for( unsigned number : { 0, 1, 2 } ) {
         auto const pair = helper->vtepIpToSwitchPair( vtep( number ) );
         if( !helper->vtepIpToSwitchPair().find( vtep( number ) ) ) continue;
         text += std::to_string( number ) + "=" + letterOf( pair.first() ) + letterOf( pair.second() ) + " ";
      }
      for( char letter : { 'a', 'b', 'c' } ) {
         auto const ip = helper->vtepSwitchIdToIp( std::string( "02:00:00:00:00:0" ) + letter );
         if( !ip.isUnset() ) text += letter + std::to_string( ip.value() & 0xff ) + " ";
      }
      return text.substr( 0, text.size() - 1 );
   }

   Lum::Ptr< PolicyHelperInfo > helper{ new PolicyHelperInfo( "PolicyHelperInfo" ) };
   Lum::Ptr< Lum::Dir > baseDir{ new Lum::Dir( "switch" ) };
   Lum::Ptr< VtepStatusRootSm > root;
};

TEST_F( VtepStatusTest, SwitchesJoinAndLeaveThePairOfAnAddress ) {
   struct {
      char const * story;
      std::function< void() > event;
      char const * maps;
   } const steps[] = {
      { "a start finds a switch", [ & ] { report( 'a', 1 ), start(); }, "1=a a1" },
      { "its peer shares the address", [ & ] { report( 'b', 1 ); }, "1=ba a1 b1" },
      { "a third one is not added, but known", [ & ] { report( 'c', 1 ); }, "1=ba a1 b1 c1" },
      { "a member changes its address", [ & ] { report( 'a', 2 ); }, "1=b 2=a a2 b1 c1" },
      { "the last member has none any more", [ & ] { report( 'b', 0 ); }, "2=a a2 c1" },
      { "another record, and the latest counts", [ & ] { report( 'c', 2, "two" ); }, "2=ca a2 c2" },
      { "the record of an address that was left goes", [ & ] { switchOf( 'c' )->vtepStatusDel( "default" ); },
        "2=ca a2 c2" },
      { "a record goes, and the address stays known", [ & ] { switchOf( 'a' )->vtepStatusDel( "default" ); },
        "2=c a2 c2" },
      { "something else is there", [ & ] { baseDir->entityPtrIs( directoryKey( 'c' ), new Lum::Dir( "c" ) ); },
        "a2 c2" },
      { "and the switch again", [ & ] { report( 'c', 1 ); }, "1=c a2 c1" },
      { "a stop leaves all", [ & ] { root = nullptr, switchDel( 'a' ), report( 'b', 1 ); }, "1=c a2 c1" },
      { "a start goes on from there", [ & ] { start(); }, "1=bc a2 b1 c1" },
      { "a switch goes with its record", [ & ] { switchDel( 'c' ); }, "1=b a2 b1 c1" },
   };
   for( auto const & [ story, event, expected ] : steps ) {
      event();
      EXPECT_EQ( maps(), expected ) << story;
   }
}

} // namespace
