#include "story/Fragments.h"

#include <iostream>
#include <set>

namespace Story {

namespace {

using rapidjson::Value;

constexpr unsigned noVni = 16777216;

std::string text( Value const & object, char const * member, std::string const & otherwise ) {
   return object.HasMember( member ) && object[ member ].IsString() ? object[ member ].GetString() : otherwise;
}

std::string vni( Value const & object, char const * member ) {
   unsigned const number = object.HasMember( member ) ? object[ member ].GetUint() : noVni;
   return number == noVni ? "no VNI" : "VNI " + std::to_string( number );
}

std::string flowLine( Value const & flow ) {
   bool const egress = text( flow, "interceptAt", "interceptAtIngress" ) == "interceptAtEgress";
   std::string const ports = text( flow, "serviceIntf", "" );
   std::string const source = text( flow, "matchSMac", "" );
   return std::string( egress ? "leaving" : "entering" )
          + ( ports.empty() ? " by a host's port" : " by a " + ports + " port" ) + ": " + vni( flow, "matchVni" )
          + ( source.empty() ? "" : " from " + source ) + " becomes " + vni( flow, "rewriteVni" );
}

template< class Use >
void forEach( Value const & object, char const * member, Use use ) {
   if( !object.HasMember( member ) ) return;
   for( auto const & each : object[ member ].GetObject() ) use( std::string( each.name.GetString() ), each.value );
}

std::string joinedKeys( Value const & object, char const * member ) {
   std::string keys;
   forEach( object, member,
            [ & ]( std::string const & key, Value const & ) { keys += ( keys.empty() ? "" : ", " ) + key; } );
   return keys;
}

void addFragment( Lines & lines, std::string const & name, Value const & fragment ) {
   lines[ name ] = "fragment " + name;
   forEach( fragment, "flow", [ & ]( std::string const & flow, Value const & fields ) {
      lines[ name + " flow " + flow ] = "   " + flow + "  " + flowLine( fields );
   } );
   forEach( fragment, "serviceIntfSet", [ & ]( std::string const & set, Value const & fields ) {
      lines[ name + " ports " + set ] = "   " + set + " ports: " + joinedKeys( fields, "intf" );
   } );
   if( fragment.HasMember( "grCookie" ) ) {
      auto const hosts = joinedKeys( fragment[ "grCookie" ], "interceptInfo" );
      if( !hosts.empty() ) lines[ name + " cookie" ] = "   to be remembered: hosts " + hosts;
   }
}

} // namespace

std::map< std::string, Lines > linesOf( Value const & switches ) {
   std::map< std::string, Lines > all;
   if( !switches.IsObject() ) return all;
   for( auto const & each : switches.GetObject() ) {
      auto & lines = all[ each.name.GetString() ];
      Value const * tree = &each.value;
      for( char const * step : { "kiv", "version1", "policy", "policy", "policyFragment" } ) {
         tree = tree && tree->IsObject() && tree->HasMember( step ) ? &( *tree )[ step ] : nullptr;
      }
      if( !tree ) continue;
      for( auto const & fragment : tree->GetObject() ) addFragment( lines, fragment.name.GetString(), fragment.value );
   }
   return all;
}

void printChanges( std::map< std::string, Lines > const & before, std::map< std::string, Lines > const & after ) {
   std::set< std::string > names;
   for( auto const & [ name, lines ] : before ) names.insert( name );
   for( auto const & [ name, lines ] : after ) names.insert( name );
   bool changed = false;
   for( auto const & name : names ) {
      auto const find = [ & ]( auto const & all ) { return all.count( name ) ? all.at( name ) : Lines{}; };
      Lines const old = find( before );
      Lines const now = find( after );
      if( old == now ) continue;
      changed = true;
      std::cout << "   switch " << name << "\n";
      for( auto const & [ key, line ] : old ) {
         if( !now.count( key ) ) std::cout << "      - " << line << "\n";
      }
      for( auto const & [ key, line ] : now ) {
         auto const was = old.find( key );
         if( was == old.end() || was->second != line )
            std::cout << ( was == old.end() ? "      + " : "      ~ " ) << line << "\n";
      }
   }
   if( !changed ) std::cout << "   no change on any switch\n";
}

} // namespace Story
