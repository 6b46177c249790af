#include "platform/moth/VirtualTaskScheduler.h"
#include "platform/quarry/EmbeddedEntityManager.h"

#include <gtest/gtest.h>

namespace {

class Setting : public Lum::Entity {
   LUM_ENTITY( Setting, name, Lum::Name );
};

struct Notes final : Quarry::Mounter {
   void handleMountStatus( Quarry::MountStatus ) override { log += "status "; }
   void doMountsComplete( Quarry::MountStatus status, Lum::Ptr< Quarry::EntityManager > const & manager ) override {
      EXPECT_EQ( status, Quarry::mountSuccess_ );
      log += manager->getEntity< Setting >( "kiv/config" ) ? "complete" : "complete but empty";
   }
   std::string log;
};

struct Database : testing::Test {
   Lum::Ptr< Moth::VirtualTaskScheduler > const clock{ new Moth::VirtualTaskScheduler };
   Lum::Ptr< Quarry::EmbeddedEntityManager > const database{ new Quarry::EmbeddedEntityManager( *clock ) };

   void mount( Quarry::Mounter & mounter ) {
      auto const group = database->getMountGroup( &mounter );
      group->doMount( { "kiv/config", "Setting", "r" } );
      group->doMount( { "nowhere", "Lum::Dir", "rCt" } );
      group->doClose( false, "", 0.0 );
   }
};

TEST_F( Database, MakingKeepsWhatIsThereAndNeverBuriesARecord ) {
   auto const config = database->createEntity< Setting >( "kiv/config" );
   EXPECT_EQ( database->createEntity< Setting >( "kiv/config" ), config );
   EXPECT_THROW( database->createEntity< Setting >( "kiv/config/more" ), Lum::NameInUseException );
   EXPECT_THROW( database->createEntity< Lum::Dir >( "kiv/" ), Lum::RangeException );
   EXPECT_EQ( database->getEntity( "kiv/config" ), config );
   for( char const * path : { "kiv/config/more", "config", "kiv//config", "kiv/con" } ) {
      EXPECT_EQ( database->getEntity( path ), nullptr ) << path;
   }
}

TEST_F( Database, AGroupIsCompleteOnALaterTurn ) {
   Notes notes;
   mount( notes );
   database->createEntity< Setting >( "kiv/config" );
   EXPECT_EQ( notes.log, "" );
   clock->settle();
   EXPECT_EQ( notes.log, "status complete" );
}

TEST_F( Database, AMounterThatIsGoneIsToldNothing ) {
   std::optional< Notes > gone( std::in_place );
   mount( *gone );
   gone.reset();
   gone.emplace(); // another one, in the same place
   clock->settle();
   EXPECT_EQ( gone->log, "" );
}

} // namespace
