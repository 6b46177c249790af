// The scenery of the stories: an agent on embedded databases and a virtual clock, a small fabric, sources, and switches
// that answer. Everything goes through the state interface, as for a real client.
//
// Switches are called by letters: "A" and "B" are a pair that shares one VTEP address and holds the ports of the
// service device, "C", "D", "E" stand alone.
#pragma once

#include "host/Session.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace Scenery {

/// What is published to switches: by switch letter and fragment, the names of its flows.
using Published = std::map< char, std::map< std::string, std::set< std::string > > >;

class Fabric {
 public:
   Fabric();
   /// Closes the story: what is published must be what is wanted.
   ~Fabric();

   // The controller and its settings.
   void start() { ask( R"({"start": true})" ); }
   void restart() { ask( R"({"restart": true})" ); }
   void advance( double seconds ) { ask( "{\"advance\": " + std::to_string( seconds ) + "}" ); }
   void set( std::string const & name, std::string const & value ) { patch( "/state/kiv/config/" + name, value ); }
   /// All of it up: the controller leads, the topology has converged, the feature is enabled.
   void enable();

   // The fabric.
   void vtep( char letter, std::string const & address );
   void host( std::string const & ip, std::string const & mac, char at, unsigned vni = 5010, unsigned moves = 1 );

   // Sources. A group redirects hosts through the ports of two interface sets.
   void source( std::string const & name, bool converged = true );
   void group( std::string const & name, std::vector< std::string > const & hosts, std::string const & near = "near",
               std::string const & far = "far", std::string const & source = "site" );
   void port( std::string const & uuid, char letter, std::string const & source = "site" );
   void unplug( std::string const & uuid, char letter );
   /// A port of each of two sets.
   void device( char letter, std::string const & near = "near", std::string const & far = "far" );

   /// The switches report what they see: flows programmed, cookies echoed, the statuses of
   /// withdrawn fragments gone. Repeats until nothing changes.
   void switchesAnswer( std::string const & letters = "ABCDE" );
   /// Where a switch's reports stand, and that of one fragment.
   static std::string reports( char letter );
   static std::string report( char letter, std::string const & fragment = "web-5010" );

   /// Writes `value` (JSON) at a pointer; a group, a host or a status is deleted with "null".
   void patch( std::string const & pointer, std::string const & value );
   /// The JSON at a pointer; "" when nothing is there.
   std::string get( std::string const & pointer );
   /// All documents of another one, as a new process finds them.
   void takeOver( Fabric & other );
   /// What the switches may read now.
   Published published();
   /// The flows of one fragment on one switch.
   std::set< std::string > flows( char letter, std::string const & fragment = "web-5010" );
   std::map< std::string, std::set< std::string > > flowsOf( char letter );
   std::string stateOf( std::string const & group );

   /// The writes to the published tree since the last call, in their order: "C web-5010 +InsideVtepEgress", "-" for one
   /// that went, "C -web-5010" for a fragment.
   std::vector< std::string > journal();

   /// What is published is what is wanted, with every field, port and cookie.
   void expectAsWanted();
   /// Every handler of every machine runs once more: none may write to the hubstore.
   void expectRepeatChangesNothing();

   /// Sends a request; a refusal fails the test.
   std::string ask( std::string const & request );

   static std::string id( char letter, char separator = ':' );
   static char letterOf( std::string const & id ) { return static_cast< char >( 'A' + ( id.back() - 'a' ) ); }

 private:
   void handleChange( std::string const & line );
   bool answerOnce( std::string const & letters );
   void forget( std::string const & pointer, Host::Json const * held );

   std::unique_ptr< boost::asio::io_context > const loop_;
   std::vector< std::string > journal_;
   std::vector< std::string > hubWrites_;                 // every one, as it was told
   std::set< std::pair< char, std::string > > withdrawn_; // since the switch answered last
   Host::Session session_;
};

/// The names of the flows on a service VTEP and on a host's own switch.
std::set< std::string > serviceFlows();
std::set< std::string > insideFlows( std::vector< std::string > const & hosts );
std::set< std::string > bothFlows( std::vector< std::string > const & hosts );

} // namespace Scenery
