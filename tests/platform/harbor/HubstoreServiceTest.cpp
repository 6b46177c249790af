#include "platform/harbor/HubstoreService.h"
#include "platform/moth/VirtualTaskScheduler.h"
#include "platform/quarry/EmbeddedEntityManager.h"
#include "tests/platform/lum/Steps.h"

#include <algorithm>

namespace {

using namespace Harbor;

constexpr char const * a = "02-00-00-00-00-0a";
constexpr char const * b = "02-00-00-00-00-0b";

struct Notes : HubstoreServiceMounter {
   explicit Notes( std::string & notes ) : log( notes ) {}
   void doMountsComplete( Lum::Name const & group, Lum::Ptr< Quarry::EntityManager > const & ) override {
      log += Lum::textOf( group, " stands. " );
      if( then ) then();
   }
   void doHandleControllerMountState( SystemId const & systemId, Lum::Name const &, Quarry::MountStatus,
                                      Lum::Ptr< Quarry::EntityManager > const & ) override {
      log += systemId.stringValue().str().substr( 16 ) + " ";
   }
   void doInitialSwitchMountsComplete( Lum::Name const &, Lum::Ptr< Quarry::EntityManager > const & ) override {
      log += "switches in. ";
   }
   std::string & log;
   std::function< void() > then;
};

struct Service : testing::Test {
   Lum::Ptr< Moth::VirtualTaskScheduler > const clock{ new Moth::VirtualTaskScheduler };
   Lum::Ptr< Quarry::EmbeddedEntityManager > const hub{ new Quarry::EmbeddedEntityManager( *clock ) };
   Lum::Ptr< HubstoreService > service{ new HubstoreService( "Kiv", hub, hub ) };
   std::string log;
   Lum::Ptr< Notes > notes{ new Notes( log ) };

   /// A group with the fragments of one switch, published to that switch.
   Lum::Ptr< HubstoreServiceMountGroup > publish( char const * switchId ) {
      auto const group = service->serviceMountGroupIs( switchId, notes );
      auto const whiteList = service->switchWhiteListIs( switchId );
      group->switchWhiteListIs( whiteList );
      whiteList->allowedSwitchIs( systemIdFromString( switchId ), true );
      group->publishMountIs( source( switchId ), "policy", "Fragment" );
      group->closedIs( true );
      return group;
   }
   static Lum::String source( char const * switchId ) { return Lum::String( "switch/" ) + switchId; }

   /// A group with a mount on every switch; a and b are known.
   Lum::Ptr< HubstoreServiceMountGroup > collect() {
      hub->createEntity< Lum::Dir >( source( a ) );
      hub->createEntity< Lum::Dir >( source( b ) );
      auto const group = service->serviceMountGroupIs( "mg1", notes );
      group->controllerMountIs( "status", "switch", "Status", "rCt" );
      group->controllerMountIs( "more status", "switch", "Status", "rCt" );
      return group;
   }
   std::string logged() { return std::exchange( log, {} ); }

   /// The last letters of the sources that the switch may read.
   std::string readBy( char const * switchId ) const {
      std::string text;
      for( auto const & mount : service->publishedTo( systemIdFromString( switchId ) ) ) {
         text += mount.source.view().back();
      }
      std::sort( text.begin(), text.end() );
      return text;
   }
};

TEST_F( Service, WhatSwitchesCanReadOverTheLifeOfAPublishGroup ) {
   auto const whiteList = [ this ]( char const * name ) { return service->switchWhiteListIs( name ); };
   Step const story[] = {
      { "a group without a white list is for nobody",
        [ & ] { service->serviceMountGroupIs( "mg1", notes )->publishMountIs( source( a ), "policy", "F" ); }, " " },
      { "its own directory for each", [ & ] { publish( a ), publish( b ); }, "a b" },
      { "a list may grow after it was attached",
        [ & ] { whiteList( a )->allowedSwitchIs( systemIdFromString( "02:00:00:00:00:0B" ), true ); }, "a ab" },
      { "and shrink", [ & ] { whiteList( a )->allowedSwitchDel( systemIdFromString( b ) ); }, "a b" },
      { "another list", [ & ] { service->serviceMountGroup( b )->switchWhiteListIs( whiteList( a ) ); }, "ab " },
      { "no list", [ & ] { service->serviceMountGroup( b )->switchWhiteListIs( nullptr ); }, "a " },
      { "a mount is withdrawn", [ & ] { service->serviceMountGroup( a )->publishMountDel( source( a ) ); }, " " },
      { "and published again", [ & ] { publish( a ), publish( b ); }, "a b" },
      { "a group goes", [ & ] { service->serviceMountGroupDel( a ); }, " b" },
      { "a list that is removed admits nobody", [ & ] { service->switchWhiteListDel( b ); }, " " },
      { "a new service begins with nothing",
        [ & ] {
           publish( a );
           service = new HubstoreService( "Kiv", hub, hub );
        },
        " " },
   };
   play( story, [ this ] { return readBy( a ) + " " + readBy( b ); } );
}

TEST_F( Service, EventsComeOnLaterTurnsInTheirOrderAndOnce ) {
   auto const group = collect();
   clock->settle();
   EXPECT_EQ( logged(), "" ); // it is not closed
   notes->then = [ this ] { clock->post( [ this ] { log += "(a turn) "; } ); };
   group->closedIs( true );
   EXPECT_EQ( logged(), "" );
   clock->settle();
   EXPECT_EQ( logged(), "mg1 stands. (a turn) a b switches in. " );
   EXPECT_EQ( group->mountsDir( "more status" ), "switch" );
   EXPECT_THROW( group->mountsDir( "moro status" ), Lum::RangeException );

   notes->then = nullptr;
   group->closedIs( false );
   group->closedIs( true ); // no news
   publish( b );            // has no controller mounts
   clock->settle();
   EXPECT_EQ( logged(), Lum::textOf( b, " stands. " ) );
}

TEST_F( Service, NobodyIsToldWhenOneOfThemHasGone ) {
   struct {
      char const * who;
      std::function< void() > goes;
   } const cases[] = {
      { "the service", [ this ] { service = nullptr; } },
      { "the group", [ this ] { service->serviceMountGroupDel( "mg1" ); } },
      { "the mounter", [ this ] { notes = nullptr; } },
   };
   for( auto const & [ who, goes ] : cases ) {
      for( bool const first : { true, false } ) {
         SCOPED_TRACE( Lum::textOf( who, first ? " before anything" : " between the events" ) );
         service = new HubstoreService( "Kiv", hub, hub );
         notes = new Notes( log );
         collect()->closedIs( true );
         if( first ) goes();
         if( !first ) notes->then = goes;
         clock->settle();
         EXPECT_EQ( logged(), first ? "" : "mg1 stands. " );
      }
   }
}

} // namespace
