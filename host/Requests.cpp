// What the session does for each request.
#include "host/Command.h"
#include "host/Session.h"
#include "platform/ribbon/Ribbon.h"

#include <algorithm>
#include <set>

namespace Host {

namespace {

void needTrue( Json const & argument ) {
   if( !argument.IsTrue() ) throw Refusal{ "", "true is expected" };
}

std::string_view needText( Json const & argument ) {
   if( !argument.IsString() ) throw Refusal{ "", "a JSON Pointer is expected" };
   return textOf( argument );
}

/// Raises Refusal if a key stands twice in an object of a request. A place in a patch is one of the tree, where it is
/// looked at.
void needUniqueMembers( Json const & line ) {
   std::set< std::string_view > names;
   for( auto const & each : line.GetObject() ) {
      auto const at = below( "", textOf( each.name ) );
      if( !names.insert( textOf( each.name ) ).second ) throw Refusal{ at, stoodBefore };
      if( textOf( each.name ) != "patch" ) needUniqueKeys( each.value, at );
   }
}

std::string errorLine( Refusal const & refusal ) {
   rapidjson::StringBuffer buffer;
   Writer writer( buffer );
   writer.StartObject();
   writer.Key( "error" );
   writer.StartObject();
   writer.Key( "at" );
   writeText( writer, refusal.at );
   writer.Key( "reason" );
   writeText( writer, refusal.reason );
   writer.EndObject();
   writer.EndObject();
   return buffer.GetString();
}

} // namespace

std::span< Session::Request const > Session::requests() {
   static Request const all[] = {
      { "start", &Session::serveStart, "makes the agent and runs its start to the end", R"({"start": true})" },
      { "patch", &Session::servePatch, "applies a merge patch (RFC 7396), rooted at the top of the tree",
        R"({"patch": {"state": {"kiv": {"config": {"enabled": true}}}}})" },
      { "get", &Session::serveGet, "reads what stands at a JSON Pointer (RFC 6901)",
        R"({"get": "/state/kiv/config"})" },
      { "advance", &Session::serveAdvance, "moves the virtual clock on by seconds, running what is due",
        R"({"advance": 30})" },
      { "command", &Session::serveCommand, "runs an operator command",
        R"({"command": {"name": "showPolicyDetail", "params": {"_format": 1, "_revision": 1}}})" },
      { "log", &Session::serveLog, "takes the operator log messages since the last such request", R"({"log": true})" },
      { "restart", &Session::serveRestart, "ends the agent as a killed process ends, and starts a new one",
        R"({"restart": true})" },
      { "watch", &Session::serveWatch, "from now on tells each write below a JSON Pointer as a line {\"changed\": ...}",
        R"({"watch": "/hub/kiv"})" },
      { "help", &Session::serveHelp, "lists the requests, each with an example", R"({"help": true})" },
      { "schema", &Session::serveSchema,
        "lists the records with their places, attributes, types, defaults and who writes each", R"({"schema": true})" },
      { "quit", &Session::serveQuit, "ends the connection", R"({"quit": true})" },
   };
   return all;
}

std::string Session::requestList() {
   std::string list;
   for( auto const & each : requests() ) list += Lum::format( "  %-10s%s\n", each.name, each.does ).view();
   return list;
}

std::string Session::answer( std::string_view line ) {
   Ribbon::Turn const turn;
   raised_.clear();
   try {
      auto const document = parsed( line );
      auto const [ request, argument ] = requestIn( document );
      rapidjson::StringBuffer buffer;
      Writer writer( buffer );
      writer.StartObject();
      writer.Key( "ok" );
      writer.Bool( true );
      ( this->*request->serve )( *argument, writer );
      if( !raised_.empty() ) {
         writer.Key( "raised" );
         writer.StartArray();
         for( auto const & text : raised_ ) writeText( writer, text );
         writer.EndArray();
      }
      writer.EndObject();
      return buffer.GetString();
   } catch( Refusal const & refusal ) {
      return errorLine( refusal );
   }
}

Session::Request const * Session::request( std::string_view name ) {
   auto const all = requests();
   auto const found = std::find_if( all.begin(), all.end(), [ & ]( auto const & each ) { return name == each.name; } );
   return found == all.end() ? nullptr : &*found;
}

std::pair< Session::Request const *, Json const * > Session::requestIn( Json const & line ) {
   if( !line.IsObject() ) throw Refusal{ "", "a request is a JSON object" };
   needUniqueMembers( line );
   std::pair< Request const *, Json const * > chosen;
   std::optional< std::string_view > stranger;
   for( auto const & each : line.GetObject() ) {
      if( textOf( each.name ) == "note" ) continue;
      auto const * const known = request( textOf( each.name ) );
      if( known && chosen.first ) throw Refusal{ "", "more than one request in a line" };
      if( known ) chosen = { known, &each.value };
      if( !known && !stranger ) stranger = textOf( each.name );
   }
   if( stranger ) refuseStranger( *stranger, chosen.first );
   if( !chosen.first ) throw Refusal{ "", "no request" };
   return chosen;
}

/// For a member of a line that is no request, and stands beside `chosen` if that is not null.
void Session::refuseStranger( std::string_view name, Request const * chosen ) {
   if( chosen ) {
      throw unknown( below( "", name ), Lum::textOf( "no such member of a ", chosen->name, " request" ), name,
                     { "note" } );
   }
   std::vector< std::string > names;
   for( auto const & each : requests() ) names.emplace_back( each.name );
   throw unknown( "", "unknown request", name, names );
}

void Session::serveStart( Json const & argument, Writer & ) {
   needTrue( argument );
   if( agent_ ) throw Refusal{ "", "the agent is started already" };
   start();
}

void Session::servePatch( Json const & argument, Writer & ) {
   if( !argument.IsObject() ) throw Refusal{ "", "a patch is a JSON object" };
   tree_.check( argument );
   tree_.apply( argument );
   settle();
}

void Session::serveGet( Json const & argument, Writer & writer ) {
   auto const pointer = needText( argument );
   auto const tokens = tokensOf( pointer );
   settle();
   rapidjson::StringBuffer buffer;
   Writer value( buffer );
   if( !tree_.get( tokens, value ) ) throw Refusal{ pointer, "no such record" };
   writer.Key( "value" );
   writer.RawValue( buffer.GetString(), buffer.GetSize(), rapidjson::kObjectType );
}

void Session::serveAdvance( Json const & argument, Writer & writer ) {
   if( !virtualClock_ ) throw Refusal{ "", "the clock is the real one" };
   if( !argument.IsNumber() || argument.GetDouble() < 0 )
      throw Refusal{ "", "a number of seconds is expected, 0 or more" };
   try {
      virtualClock_->advance( argument.GetDouble() );
   } catch( Lum::RangeException const & exception ) {
      throw Refusal{ "", exception.what() };
   }
   writer.Key( "now" );
   writer.Double( virtualClock_->now() );
}

void Session::serveCommand( Json const & argument, Writer & writer ) {
   auto const output = outputOf( commands(), checkedCommand( argument ) );
   writer.Key( "output" );
   writeText( writer, output );
}

void Session::serveLog( Json const & argument, Writer & writer ) {
   needTrue( argument );
   writer.Key( "log" );
   writer.StartArray();
   for( auto const & message : log_ ) {
      writer.StartObject();
      writer.Key( "handle" );
      writeText( writer, message.handle.view() );
      writer.Key( "severity" );
      writer.Uint( static_cast< unsigned >( message.severity ) );
      writer.Key( "text" );
      writeText( writer, message.text.view() );
      if( message.count > 1 ) {
         writer.Key( "count" );
         writer.Uint64( message.count );
      }
      writer.EndObject();
   }
   writer.EndArray();
   log_.clear();
   if( lost_ ) {
      writer.Key( "lost" );
      writer.Uint64( std::exchange( lost_, 0 ) );
   }
}

void Session::serveRestart( Json const & argument, Writer & ) {
   needTrue( argument );
   endAgent();
   start();
}

// All that is written, once: what a switch sees is written to the hubstore.
void Session::serveWatch( Json const & argument, Writer & ) {
   auto const place = tree_.located( tokensOf( needText( argument ) ) );
   if( !place.empty() ) return watches_.add( place );
   for( char const * root : { "state", "hub", "agent", "service" } ) watches_.add( { root } );
}

void Session::serveHelp( Json const & argument, Writer & writer ) {
   needTrue( argument );
   writer.Key( "help" );
   writer.StartObject();
   for( auto const & each : requests() ) {
      writer.Key( each.name );
      writer.StartObject();
      writer.Key( "does" );
      writer.String( each.does );
      writer.Key( "example" );
      parsed( each.example ).Accept( writer );
      writer.EndObject();
   }
   writer.EndObject();
}

void Session::serveSchema( Json const & argument, Writer & writer ) {
   needTrue( argument );
   writer.Key( "schema" );
   tree_.describe( writer );
}

void Session::serveQuit( Json const & argument, Writer & ) {
   needTrue( argument );
   quits_ = true;
}

} // namespace Host
