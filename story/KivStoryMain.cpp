// kiv-story: plays a file of requests through a kivd and shows, after each, what the switches get. Ends with status 0
// when each redirected host's flow stands on its inside VTEP at the end, and there is such a host.
#include "story/Fragments.h"
#include "story/Kivd.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <iostream>
#include <rapidjson/error/en.h>

namespace {

using namespace Story;

struct Act {
   std::string request;
   std::string title;
   bool starts;
   bool shows; // a read or a clock that moves on tells nothing by itself
};

Act parseAct( std::string const & line, std::size_t number ) {
   rapidjson::Document document;
   document.Parse( line.c_str() );
   auto const fail = [ & ]( std::string const & reason ) {
      throw std::runtime_error( "line " + std::to_string( number ) + ": " + reason );
   };
   if( document.HasParseError() ) fail( rapidjson::GetParseError_En( document.GetParseError() ) );
   if( !document.IsObject() ) fail( "no JSON object" );
   bool const noted = document.HasMember( "note" ) && document[ "note" ].IsString();
   std::string const kind = document.MemberCount() ? document.MemberBegin()->name.GetString() : "";
   return { line, noted ? document[ "note" ].GetString() : kind, document.HasMember( "start" ),
            !document.HasMember( "get" ) && !document.HasMember( "watch" ) };
}

std::vector< Act > readStory( std::string const & file ) {
   std::ifstream in( file );
   if( !in ) throw std::runtime_error( "cannot be read" );
   std::vector< Act > acts;
   std::string line;
   for( std::size_t number = 1; std::getline( in, line ); ++number ) {
      if( line.find_first_not_of( " \t\r" ) != std::string::npos ) acts.push_back( parseAct( line, number ) );
   }
   if( acts.empty() ) throw std::runtime_error( "holds no request" );
   return acts;
}

std::string member( rapidjson::Value const & object, char const * name ) {
   return object.HasMember( name ) && object[ name ].IsString() ? object[ name ].GetString() : "";
}

/// Plays the acts; false when one of them was refused.
bool play( Kivd & kivd, std::vector< Act > const & acts ) {
   bool good = true;
   std::map< std::string, Lines > before;
   for( auto const & act : acts ) {
      auto const answer = kivd.ask( act.request );
      if( act.shows ) std::cout << "\n" << act.title << "\n";
      if( answer.HasMember( "error" ) ) {
         auto const & error = answer[ "error" ];
         std::cout << "   refused: " << member( error, "at" ) << ": " << member( error, "reason" ) << "\n";
         good = false;
      }
      auto const after = linesOf( kivd.get( "/switch" ) );
      if( act.shows ) printChanges( before, after );
      before = after;
   }
   return good;
}

/// How many hosts have their ingress flow on every switch of their inside VTEP; -1 when one has not.
int redirectedHosts( Kivd & kivd ) {
   auto const groups = kivd.get( "/state/kiv/servicePolicyStatus/policyRunningInfo" );
   auto const switches = linesOf( kivd.get( "/switch" ) );
   int redirected = 0;
   if( !groups.IsObject() ) return 0;
   for( auto const & group : groups.GetObject() ) {
      if( !group.value.HasMember( "hostInfo" ) ) continue;
      for( auto const & host : group.value[ "hostInfo" ].GetObject() ) {
         if( !host.value.HasMember( "insideVtepSwitchPair" ) || !host.value.HasMember( "originalVni" ) ) return -1;
         auto const fragment =
            std::string( group.name.GetString() ) + "-" + std::to_string( host.value[ "originalVni" ].GetUint() );
         for( auto const & member : host.value[ "insideVtepSwitchPair" ].GetArray() ) {
            std::string id = member.GetString();
            if( id.empty() ) continue;
            std::replace( id.begin(), id.end(), ':', '-' );
            auto const seen = switches.find( id );
            auto const flow = fragment + " flow InsideVtepIngress-" + host.name.GetString();
            if( seen == switches.end() || !seen->second.count( flow ) ) return -1;
         }
         ++redirected;
      }
   }
   return redirected;
}

void printDetail( Kivd & kivd ) {
   auto const answer =
      kivd.ask( R"({"command": {"name": "showPolicyDetail", "params": {"_format": 1, "_revision": 1}}})" );
   std::cout << "\nshow policy detail\n" << member( answer, "output" );
}

int tell( std::string const & program, std::string const & file ) {
   auto const acts = readStory( file );
   bool const starts = std::any_of( acts.begin(), acts.end(), []( Act const & act ) { return act.starts; } );
   Kivd kivd( program, starts ? std::vector< std::string >{ "--no-start" } : std::vector< std::string >() );
   bool const good = play( kivd, acts );
   printDetail( kivd );
   int const redirected = redirectedHosts( kivd );
   std::cout << "\n"
             << ( redirected > 0 ? "redirected hosts: " + std::to_string( redirected )
                                 : "no host is redirected, or not all of them" )
             << "\n";
   return good && redirected > 0 ? 0 : 1;
}

} // namespace

int main( int argc, char ** argv ) {
   CLI::App app( "Plays a story of requests through kivd and shows what the switches get." );
   std::string program = "kivd";
   std::string file;
   app.add_option( "--kivd", program, "the kivd to use" );
   app.add_option( "FILE", file, "requests, one JSON object a line; \"note\" in a request is its title" )->required();
   try {
      app.parse( argc, argv );
   } catch( CLI::ParseError const & error ) {
      return app.exit( error ) == 0 ? 0 : 2;
   }
   try {
      return tell( program, file );
   } catch( std::exception const & error ) {
      std::cerr << file << ": " << error.what() << "\n";
      return 2;
   }
}
