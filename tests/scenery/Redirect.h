// The scene in which most stories play.
#pragma once

#include "tests/scenery/Fabric.h"

#include <gtest/gtest.h>

namespace Scenery {

inline std::string const web = "02:00:aa:00:00:01";
inline std::string const shop = "02:00:aa:00:00:02";
inline std::string const reports = "/hub/kivclient/version1/policystatus/switch/";

/// The device's ports on the pair "A", "B", a host behind "C", and the feature running.
inline void setScene( Fabric & fabric ) {
   for( char const * uuid : { "near", "far" } ) {
      fabric.port( uuid, 'A' );
      fabric.port( uuid, 'B' );
   }
   fabric.host( "10.0.0.1", web, 'C' );
   fabric.start();
   fabric.enable();
}

/// A fabric with the device's ports on the pair "A", "B" and a host behind "C"; the group "web" is not there yet.
class Redirect : public ::testing::Test {
 protected:
   Redirect() { setScene( fabric ); }

   /// The group with its host, everything converged.
   void redirect() {
      fabric.group( "web", { "10.0.0.1" } );
      fabric.switchesAnswer();
      ASSERT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
      fabric.journal();
   }

   void deleteGroup( std::string const & name ) {
      fabric.patch( "/state/kiv/servicePolicyConfig/site/servicePolicy/" + name, "null" );
   }

   Fabric fabric;
};

} // namespace Scenery
