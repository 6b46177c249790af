// A client of a session on a virtual clock.
#pragma once

#include "host/Session.h"

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

class Client : public testing::Test {
 protected:
   std::string ask( std::string const & request ) { return session.answer( request ); }
   std::string patch( std::string const & document ) { return ask( "{\"patch\": " + document + "}" ); }
   /// A patch of one place.
   std::string write( std::string const & pointer, std::string const & value ) { return patch( at( pointer, value ) ); }
   /// The JSON at a pointer; the reason if there is none.
   std::string get( std::string const & pointer ) {
      auto const answer = Host::parsed( ask( "{\"get\": \"" + pointer + "\"}" ) );
      return answer.HasMember( "value" ) ? text( answer[ "value" ] ) : answer[ "error" ][ "reason" ].GetString();
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

   static std::string text( Host::Json const & json ) {
      rapidjson::StringBuffer buffer;
      Host::Writer writer( buffer );
      json.Accept( writer );
      return buffer.GetString();
   }
   /// `value` as a merge patch from the root.
   static std::string at( std::string const & pointer, std::string const & value ) {
      auto document = value;
      auto const tokens = Host::tokensOf( pointer );
      for( auto token = tokens.rbegin(); token != tokens.rend(); ++token )
         document = "{\"" + *token + "\":" + document + "}";
      return document;
   }

   boost::asio::io_context loop;
   std::vector< std::string > lines;
   Host::Session session{ Host::Session::Clock::virtualClock, loop, [ this ]( std::string const & line ) {
                            lines.push_back( text( Host::parsed( line )[ "changed" ] ) );
                         } };
};
