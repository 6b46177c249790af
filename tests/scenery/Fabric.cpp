#include "tests/scenery/Fabric.h"

#include <boost/asio/io_context.hpp>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>

namespace Scenery {

namespace {

rapidjson::Document parsed( std::string const & text ) {
   rapidjson::Document document;
   document.Parse( text.c_str() );
   return document;
}

std::string quoted( std::string const & text ) { return Lum::textOf( "\"", text, "\"" ); }

/// A merge patch that holds `value` at `pointer`.
std::string nested( std::string const & pointer, std::string const & value ) {
   std::string head;
   std::string tail;
   for( auto const & token : Host::tokensOf( pointer ) ) {
      head += Lum::textOf( "{", quoted( token ), ": " );
      tail += "}";
   }
   return Lum::textOf( head, value, tail );
}

std::string const switchTree = "/kiv/version1/policy/policy/policyFragment";

std::string portOf( std::string const & uuid, char letter, std::string const & source ) {
   return "/state/kiv/serviceIntfConfig/" + source + "/intfSet/" + uuid + "/intf/" + Fabric::id( letter ) + "~1" + uuid;
}

} // namespace

Fabric::Fabric()
   : loop_( std::make_unique< boost::asio::io_context >() ),
     session_( Host::Session::Clock::virtualClock, *loop_,
               [ this ]( std::string const & line ) { handleChange( line ); } ) {
   vtep( 'A', "192.0.2.10" );
   vtep( 'B', "192.0.2.10" );
   for( char letter = 'C'; letter <= 'E'; ++letter ) vtep( letter, "192.0.2." + std::to_string( letter - 'A' ) );
   source( "site" );
   set( "vniRange", R"("20000-20099")" );
   ask( R"({"watch": "/hub"})" );
}

Fabric::~Fabric() { expectAsWanted(); }

std::string Fabric::id( char letter, char separator ) {
   std::string text = "02:00:00:00:00:0a";
   text.back() = static_cast< char >( 'a' + ( letter - 'A' ) );
   for( auto & each : text ) each = each == ':' ? separator : each;
   return text;
}

std::string Fabric::ask( std::string const & request ) {
   static bool const shown = std::getenv( "KIV_SHOW" ) != nullptr;
   if( shown ) std::cout << request << "\n"; // as kivd would take it
   hubWrites_.clear();
   auto const answer = session_.answer( request );
   EXPECT_TRUE( answer.starts_with( "{\"ok\":true" ) ) << request << "\n" << answer;
   return answer;
}

void Fabric::patch( std::string const & pointer, std::string const & value ) {
   ask( Lum::textOf( "{\"patch\": ", nested( pointer, value ), "}" ) );
}

std::string Fabric::get( std::string const & pointer ) {
   auto const answer = parsed( session_.answer( Lum::textOf( "{\"get\": ", quoted( pointer ), "}" ) ) );
   if( !answer.HasMember( "value" ) ) return "";
   rapidjson::StringBuffer buffer;
   Host::Writer writer( buffer );
   answer[ "value" ].Accept( writer );
   return buffer.GetString();
}

void Fabric::enable() {
   ask( R"({"patch": {"state": {"controller": {"status": {"enabled": true},
      "cluster": {"statusDir": {"clusterStatus": {"default": {"leader": true}}}}}}}})" );
   patch( "/hub/topology/version3/global/status/convergenceStatus", "{}" );
   set( "enabled", "true" );
}

void Fabric::vtep( char letter, std::string const & address ) {
   patch( "/hub/vxlan/version2/vtepStatusDir/switch/" + id( letter, '-' ) + "/vtepStatus/default/vtepIpAddr",
          quoted( address ) );
}

void Fabric::host( std::string const & ip, std::string const & mac, char at, unsigned vni, unsigned moves ) {
   auto const tables = "/hub/loomis/version2/vni/" + std::to_string( vni );
   auto const vtepIp =
      get( "/hub/vxlan/version2/vtepStatusDir/switch/" + id( at, '-' ) + "/vtepStatus/default/vtepIpAddr" );
   patch( tables + "/ipToMacTable/" + ip + "/mac", quoted( mac ) );
   patch( tables + "/macVtepTable/" + mac,
          "{\"vtepIp\": " + vtepIp + ", \"moveCount\": " + std::to_string( moves ) + "}" );
}

void Fabric::source( std::string const & name, bool converged ) {
   patch( "/state/kiv/servicePolicyConfig/" + name, "{}" );
   patch( "/state/kiv/serviceIntfConfig/" + name, "{}" );
   patch( "/state/kiv/servicePolicySourceState/" + name + "/convergenceComplete", converged ? "true" : "false" );
}

void Fabric::group( std::string const & name, std::vector< std::string > const & hosts, std::string const & near,
                    std::string const & far, std::string const & source ) {
   std::string flows;
   for( auto const & ip : std::set( hosts.begin(), hosts.end() ) ) // each once, as an object has its keys
      flows += ( flows.empty() ? "" : ", " ) + quoted( ip + "/32" ) + ": {}";
   patch( "/state/kiv/servicePolicyConfig/" + source + "/servicePolicy/" + name,
          "{\"policyName\": {" + quoted( "rule of " + name ) + ": true}, \"nearIntfUuid\": " + quoted( near )
             + ", \"farIntfUuid\": " + quoted( far ) + ", \"interceptFlow\": {" + flows + "}}" );
}

void Fabric::port( std::string const & uuid, char letter, std::string const & source ) {
   patch( portOf( uuid, letter, source ), R"({"allowedVlan": {"100": true}})" );
}

void Fabric::unplug( std::string const & uuid, char letter ) { patch( portOf( uuid, letter, "site" ), "null" ); }

void Fabric::switchesAnswer( std::string const & letters ) {
   for( int round = 0; round < 10; ++round ) {
      if( !answerOnce( letters ) ) return;
   }
   ADD_FAILURE() << "the switches and the agent do not come to rest";
}

bool Fabric::answerOnce( std::string const & letters ) {
   bool changed = false;
   for( char letter = 'A'; letter <= 'E'; ++letter ) {
      if( !letters.empty() && letters.find( letter ) == std::string::npos ) continue;
      auto const seen = parsed( get( "/switch/" + id( letter, '-' ) + switchTree ) );
      auto const pointer = "/hub/kivclient/version1/policystatus/switch/" + id( letter, '-' ) + "/policyFragment";
      auto const held = parsed( get( pointer ) );
      if( held.IsObject() ) {
         for( auto const & fragment : held.GetObject() ) {
            // One that was withdrawn and published again, however quickly, is a new one.
            bool const withdrawn = withdrawn_.erase( { letter, fragment.name.GetString() } ) > 0;
            if( !withdrawn && seen.IsObject() && seen.HasMember( fragment.name ) ) continue;
            patch( pointer + "/" + fragment.name.GetString(), "null" );
            changed = true;
         }
      }
      if( !seen.IsObject() ) continue;
      auto const before = get( pointer );
      for( auto const & fragment : seen.GetObject() ) {
         auto const place = pointer + "/" + fragment.name.GetString();
         forget( place + "/flowStatus", fragment.value, { "flow" } );
         forget( place + "/grCookie/interceptInfo", fragment.value, { "grCookie", "interceptInfo" } );
         patch( place, statusOf( fragment.value ) );
      }
      changed = changed || get( pointer ) != before;
   }
   return changed;
}

// Deletes the members at `pointer` that the fragment holds no more at `path`.
void Fabric::forget( std::string const & pointer, Host::Json const & fragment,
                     std::vector< char const * > const & path ) {
   Host::Json const * held = &fragment;
   for( char const * step : path ) held = held && held->HasMember( step ) ? &( *held )[ step ] : nullptr;
   auto const reported = parsed( get( pointer ) );
   if( !reported.IsObject() ) return;
   for( auto const & each : reported.GetObject() ) {
      if( !held || !held->HasMember( each.name ) ) patch( pointer + "/" + each.name.GetString(), "null" );
   }
}

std::string Fabric::statusOf( Host::Json const & fragment ) {
   rapidjson::StringBuffer buffer;
   Host::Writer writer( buffer );
   writer.StartObject();
   for( char const * name : { "originalVni", "serviceVni", "grCookie" } ) {
      if( !fragment.HasMember( name ) ) continue;
      writer.Key( name );
      fragment[ name ].Accept( writer );
   }
   writer.Key( "flowStatus" );
   writer.StartObject();
   if( fragment.HasMember( "flow" ) ) {
      for( auto const & flow : fragment[ "flow" ].GetObject() ) {
         writer.Key( flow.name.GetString() );
         writer.StartObject();
         writer.Key( "status" );
         writer.Uint( 2 );
         writer.EndObject();
      }
   }
   writer.EndObject();
   writer.EndObject();
   return buffer.GetString();
}

Published Fabric::published() {
   Published all;
   auto const switches = parsed( get( "/switch" ) );
   for( auto const & each : switches.GetObject() ) {
      auto const letter = letterOf( each.name.GetString() );
      auto const tree = parsed( get( std::string( "/switch/" ) + each.name.GetString() + switchTree ) );
      auto & fragments = all[ letter ];
      for( auto const & fragment : tree.GetObject() ) {
         auto & names = fragments[ fragment.name.GetString() ];
         if( !fragment.value.HasMember( "flow" ) ) continue;
         for( auto const & flow : fragment.value[ "flow" ].GetObject() ) names.insert( flow.name.GetString() );
      }
   }
   return all;
}

std::map< std::string, std::set< std::string > > Fabric::flowsOf( char letter ) {
   auto const all = published();
   return all.count( letter ) ? all.at( letter ) : std::map< std::string, std::set< std::string > >();
}

std::set< std::string > Fabric::flows( char letter, std::string const & fragment ) {
   auto const all = flowsOf( letter );
   return all.count( fragment ) ? all.at( fragment ) : std::set< std::string >();
}

std::string Fabric::stateOf( std::string const & group ) {
   return get( "/state/kiv/servicePolicyStatus/policyRunningInfo/" + group + "/policyState" );
}

std::vector< std::string > Fabric::journal() { return std::exchange( journal_, {} ); }

void Fabric::handleChange( std::string const & line ) {
   hubWrites_.push_back( line );
   if( !line.starts_with( R"({"changed":{"hub":{"kiv":{"version1":{"policy":{"switch":)" ) ) return;
   auto const document = parsed( line );
   Host::Json const * at = &document[ "changed" ];
   Host::Tokens tokens;
   while( at->IsObject() && at->MemberCount() == 1 && tokens.size() < 9 ) {
      tokens.push_back( at->MemberBegin()->name.GetString() );
      at = &at->MemberBegin()->value;
   }
   // hub kiv version1 policy switch <id> policyFragment <fragment> flow <name>
   if( tokens.size() < 8 ) return;
   char const letter = letterOf( tokens[ 5 ] );
   std::string const where( 1, letter );
   if( tokens.size() == 8 && at->IsNull() ) {
      journal_.push_back( Lum::textOf( where, " -", tokens[ 7 ] ) );
      withdrawn_.insert( { letter, tokens[ 7 ] } );
   }
   if( tokens.size() < 9 || tokens[ 8 ] != "flow" || !at->IsObject() ) return;
   auto const & flow = *at->MemberBegin();
   journal_.push_back(
      Lum::textOf( where, " ", tokens[ 7 ], flow.value.IsNull() ? " -" : " +", flow.name.GetString() ) );
}

std::set< std::string > serviceFlows() { return { "ServiceVtepEgress", "ServiceVtepIngress" }; }

std::set< std::string > insideFlows( std::vector< std::string > const & hosts ) {
   std::set< std::string > flows{ "InsideVtepEgress" };
   for( auto const & ip : hosts ) flows.insert( "InsideVtepIngress-" + ip );
   return flows;
}

std::set< std::string > bothFlows( std::vector< std::string > const & hosts ) {
   auto flows = insideFlows( hosts );
   flows.merge( serviceFlows() );
   return flows;
}

} // namespace Scenery
