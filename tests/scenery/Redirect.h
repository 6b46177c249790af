// The scene in which most stories play.
#pragma once

#include "tests/scenery/Fabric.h"

#include <gtest/gtest.h>

namespace Scenery {

inline std::string const web = "02:00:aa:00:00:01";
inline std::string const shop = "02:00:aa:00:00:02";
inline std::string const groups = "/state/kiv/servicePolicyConfig/site/servicePolicy/";
inline std::string const hostsOfWeb = groups + "web/interceptFlow/";

/// The status of a service flow of "web", as a switch reports it.
inline std::string egressOf( char letter ) { return Fabric::report( letter ) + "/flowStatus/ServiceVtepEgress/status"; }

/// What is published for "web" while the one host of its VNI is diverted.
inline Published diverted( std::string const & serviceVteps, std::string const & hostsOwn ) {
   Published all;
   for( char letter : serviceVteps ) all[ letter ][ "web-5010" ] = bothFlows( { "10.0.0.1" } );
   for( char letter : hostsOwn ) all[ letter ][ "web-5010" ] = insideFlows( { "10.0.0.1" } );
   return all;
}

/// The device's ports on the pair "A", "B", a host behind "C", and the feature running.
struct Scene : Fabric {
   Scene() {
      for( char letter : { 'A', 'B' } ) device( letter );
      host( "10.0.0.1", web, 'C' );
      start();
      enable();
   }
};

/// The group "web" is not there yet.
class Redirect : public ::testing::Test {
 protected:
   /// The group with its host, everything converged.
   void redirect() {
      fabric.group( "web", { "10.0.0.1" } );
      fabric.switchesAnswer();
      ASSERT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
      fabric.journal();
   }

   Scene fabric;
   std::set< std::string > const none{};
};

} // namespace Scenery
