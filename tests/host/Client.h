// A client of a session on a virtual clock.
#pragma once

#include "host/Session.h"
#include "tests/scenery/Json.h"

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

using Scenery::at;
using Scenery::textOf;

// Places that the tests write.
inline std::string const config = "/state/kiv/config";
inline std::string const sources = "/state/kiv/servicePolicyConfig";
inline std::string const group = sources + "/site/servicePolicy/web";
inline std::string const intf = "/state/kiv/serviceIntfConfig/site/intfSet/near/intf";
inline std::string const host = "/state/kiv/servicePolicyStatus/policyRunningInfo/web/hostInfo/10.0.0.1";
inline std::string const leader = "/state/controller/cluster/statusDir/clusterStatus";
inline std::string const published = "/hub/kiv/version1/policy/switch";
inline std::string const fragment = published + "/02-00-00-00-00-0a/policyFragment/web-5010";
inline std::string const vnis = "/hub/loomis/version2/vni";

class Client : public testing::Test {
 protected:
   std::string ask( std::string const & request ) { return session.answer( request ); }
   std::string patch( std::string const & document ) { return ask( "{\"patch\": " + document + "}" ); }
   /// A patch of one place.
   std::string write( std::string const & pointer, std::string const & value ) { return patch( at( pointer, value ) ); }
   /// The JSON at a pointer; the reason if there is none.
   std::string get( std::string const & pointer ) {
      auto const answer = Host::parsed( ask( "{\"get\": \"" + pointer + "\"}" ) );
      return answer.HasMember( "value" ) ? textOf( answer[ "value" ] ) : answer[ "error" ][ "reason" ].GetString();
   }
   /// The feature up, with its range of service VNIs.
   std::string enable( std::string const & range ) {
      write( "/hub/topology/version3/global/status/convergenceStatus", "{}" );
      return write( "/state", R"({"controller": {"status": {"enabled": true},
         "cluster": {"statusDir": {"clusterStatus": {"default": {"leader": true}}}}},
         "kiv": {"config": {"vniRange": ")"
                                 + range + R"(", "enabled": true}}})" );
   }
   /// The documents of the watch lines since the last call.
   std::vector< std::string > told() { return std::exchange( lines, {} ); }

   boost::asio::io_context loop;
   std::vector< std::string > lines;
   Host::Session session{ Host::Session::Clock::virtualClock, loop, [ this ]( std::string const & line ) {
                            lines.push_back( textOf( Host::parsed( line )[ "changed" ] ) );
                         } };
};
