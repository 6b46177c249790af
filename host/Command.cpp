#include "host/Command.h"

#include <algorithm>
#include <sys/mman.h>
#include <unistd.h>

namespace Host {

namespace {

/// Raises Refusal for a member of `json` that is none of `known`.
void needMembersOf( Json const & json, std::string const & at, char const * what,
                    std::vector< std::string > const & known ) {
   needObject( json, at );
   for( auto const & each : json.GetObject() ) {
      auto const name = textOf( each.name );
      if( std::find( known.begin(), known.end(), name ) == known.end() )
         throw unknown( below( at, name ), what, name, known );
   }
}

void needUnsigned( Json const & parameters, char const * name ) {
   std::string const at = below( "/command/params", name );
   if( !parameters.HasMember( name ) ) throw Refusal{ at, "it is missing" };
   if( !parameters[ name ].IsUint() ) throw Refusal{ at, "an unsigned 32-bit integer is expected" };
}

/// The command of that name. Raises Refusal when there is none.
Oxlet::AgentCommandCallback & commandIn( Oxlet::AgentCommandRequestDirSm const * commands, std::string const & name ) {
   std::vector< std::string > known;
   if( commands ) {
      if( auto const command = commands->agentCommandCallback( Lum::Name( name ) ) ) return *command;
      for( auto const & [ each, command ] : commands->agentCommandCallback() ) known.push_back( each.str() );
   }
   throw unknown( "/command/name", "no such command", name, known );
}

} // namespace

Command checkedCommand( Json const & request ) {
   needMembersOf( request, "/command", "no such member of a command", { "name", "params" } );
   if( !request.HasMember( "name" ) || !request[ "name" ].IsString() ) {
      throw Refusal{ "/command/name", "a string is expected" };
   }
   if( !request.HasMember( "params" ) ) throw Refusal{ "/command/params", "an object is expected" };
   auto const & parameters = request[ "params" ];
   needMembersOf( parameters, "/command/params", "no such parameter", { "_format", "_revision", "policy" } );
   needUnsigned( parameters, "_format" );
   needUnsigned( parameters, "_revision" );
   if( parameters.HasMember( "policy" ) && !parameters[ "policy" ].IsString() ) {
      throw Refusal{ "/command/params/policy", "a string is expected" };
   }
   rapidjson::StringBuffer buffer;
   Writer writer( buffer );
   parameters.Accept( writer );
   return { std::string( textOf( request[ "name" ] ) ), buffer.GetString() };
}

std::string outputOf( Oxlet::AgentCommandRequestDirSm const * commands, Command const & command ) {
   auto & callback = commandIn( commands, command.name );
   // A file in memory takes output of any length before anybody reads it.
   int const fd = memfd_create( "command", MFD_CLOEXEC );
   if( fd < 0 ) throw Refusal{ "", "no descriptor for the command's output" };
   callback.createAgentAsyncCommandRequestSm( static_cast< std::uint32_t >( fd ), Lum::String( command.parameters ) );
   std::string output( static_cast< std::size_t >( lseek( fd, 0, SEEK_END ) ), '\0' );
   auto const size = pread( fd, output.data(), output.size(), 0 );
   close( fd );
   output.resize( size > 0 ? static_cast< std::size_t >( size ) : 0 );
   return output;
}

} // namespace Host
