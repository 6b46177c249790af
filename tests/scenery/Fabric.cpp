#include "tests/scenery/Fabric.h"

#include "tests/scenery/Json.h"

#include <boost/asio/io_context.hpp>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <rapidjson/pointer.h>

namespace Scenery {

namespace {

rapidjson::Document parsed( std::string const & text ) {
   rapidjson::Document document;
   document.Parse( text.empty() ? "{}" : text.c_str() ); // nothing is there
   return document;
}

std::string quoted( std::string const & text ) { return Lum::textOf( "\"", text, "\"" ); }

std::string const switchTree = "/kiv/version1/policy/policy/policyFragment";

std::string portOf( std::string const & uuid, char letter, std::string const & source ) {
   return "/state/kiv/serviceIntfConfig/" + source + "/intfSet/" + uuid + "/intf/" + Fabric::id( letter ) + "~1" + uuid;
}

std::string vtepIpOf( char letter ) {
   return "/hub/vxlan/version2/vtepStatusDir/switch/" + Fabric::id( letter, '-' ) + "/vtepStatus/default/vtepIpAddr";
}

/// What a switch reports of a fragment when it has programmed all of it.
std::string statusOf( Host::Json const & fragment ) {
   std::string echoed;
   for( char const * name : { "originalVni", "serviceVni", "grCookie" } ) {
      if( fragment.HasMember( name ) ) echoed += Lum::textOf( quoted( name ), ": ", textOf( fragment[ name ] ), ", " );
   }
   std::string flows;
   if( fragment.HasMember( "flow" ) ) {
      for( auto const & flow : fragment[ "flow" ].GetObject() )
         flows += Lum::textOf( flows.empty() ? "" : ", ", quoted( flow.name.GetString() ), R"(: {"status": 2})" );
   }
   return Lum::textOf( "{", echoed, R"("flowStatus": {)", flows, "}}" );
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

std::string Fabric::reports( char letter ) {
   return "/hub/kivclient/version1/policystatus/switch/" + id( letter, '-' );
}

std::string Fabric::report( char letter, std::string const & fragment ) {
   return reports( letter ) + "/policyFragment/" + fragment;
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
   ask( Lum::textOf( "{\"patch\": ", at( pointer, value ), "}" ) );
}

std::string Fabric::get( std::string const & pointer ) {
   auto const answer = parsed( session_.answer( Lum::textOf( "{\"get\": ", quoted( pointer ), "}" ) ) );
   return answer.HasMember( "value" ) ? textOf( answer[ "value" ] ) : "";
}

void Fabric::takeOver( Fabric & other ) {
   for( char const * root : { "/state", "/hub" } ) patch( root, other.get( root ) );
}

void Fabric::enable() {
   ask( R"({"patch": {"state": {"controller": {"status": {"enabled": true},
      "cluster": {"statusDir": {"clusterStatus": {"default": {"leader": true}}}}}}}})" );
   patch( "/hub/topology/version3/global/status/convergenceStatus", "{}" );
   set( "enabled", "true" );
}

void Fabric::vtep( char letter, std::string const & address ) { patch( vtepIpOf( letter ), quoted( address ) ); }

void Fabric::host( std::string const & ip, std::string const & mac, char at, unsigned vni, unsigned moves ) {
   auto const tables = "/hub/loomis/version2/vni/" + std::to_string( vni );
   patch( tables + "/ipToMacTable/" + ip + "/mac", quoted( mac ) );
   patch( tables + "/macVtepTable/" + mac,
          Lum::textOf( "{\"vtepIp\": ", get( vtepIpOf( at ) ), ", \"moveCount\": ", moves, "}" ) );
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

void Fabric::device( char letter, std::string const & near, std::string const & far ) {
   for( auto const & uuid : { near, far } ) port( uuid, letter );
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
   for( char letter : letters ) {
      auto const seen = parsed( get( "/switch/" + id( letter, '-' ) + switchTree ) );
      auto const pointer = reports( letter ) + "/policyFragment";
      auto const held = parsed( get( pointer ) );
      for( auto const & fragment : held.GetObject() ) {
         // One that was withdrawn and published again, however quickly, is a new one.
         bool const withdrawn = withdrawn_.erase( { letter, fragment.name.GetString() } ) > 0;
         if( !withdrawn && seen.HasMember( fragment.name ) ) continue;
         patch( pointer + "/" + fragment.name.GetString(), "null" );
         changed = true;
      }
      auto const before = get( pointer );
      for( auto const & fragment : seen.GetObject() ) {
         auto const place = pointer + "/" + fragment.name.GetString();
         forget( place + "/flowStatus", rapidjson::Pointer( "/flow" ).Get( fragment.value ) );
         forget( place + "/grCookie/interceptInfo",
                 rapidjson::Pointer( "/grCookie/interceptInfo" ).Get( fragment.value ) );
         patch( place, statusOf( fragment.value ) );
      }
      changed = changed || get( pointer ) != before;
   }
   return changed;
}

// Deletes the members at `pointer` that are not in `held`.
void Fabric::forget( std::string const & pointer, Host::Json const * held ) {
   auto const reported = parsed( get( pointer ) );
   for( auto const & each : reported.GetObject() ) {
      if( !held || !held->HasMember( each.name ) ) patch( pointer + "/" + each.name.GetString(), "null" );
   }
}

Published Fabric::published() {
   Published all;
   auto const switches = parsed( get( "/switch" ) );
   for( auto const & each : switches.GetObject() ) {
      auto & fragments = all[ letterOf( each.name.GetString() ) ];
      auto const tree = parsed( get( std::string( "/switch/" ) + each.name.GetString() + switchTree ) );
      for( auto const & fragment : tree.GetObject() ) {
         auto & names = fragments[ fragment.name.GetString() ];
         if( !fragment.value.HasMember( "flow" ) ) continue;
         for( auto const & flow : fragment.value[ "flow" ].GetObject() ) names.insert( flow.name.GetString() );
      }
   }
   return all;
}

std::map< std::string, std::set< std::string > > Fabric::flowsOf( char letter ) { return published()[ letter ]; }

std::set< std::string > Fabric::flows( char letter, std::string const & fragment ) {
   return flowsOf( letter )[ fragment ];
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
