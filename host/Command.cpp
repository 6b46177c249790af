#include "host/Command.h"

#include <sys/mman.h>
#include <unistd.h>

namespace Host {

namespace {

void needUnsigned( Json const & parameters, char const * name ) {
   std::string const at = below( "/command/params", name );
   if( !parameters.HasMember( name ) ) throw Refusal{ at, "it is missing" };
   if( !parameters[ name ].IsUint() ) throw Refusal{ at, "an unsigned 32-bit integer is expected" };
}

} // namespace

Command checkedCommand( Json const & request ) {
   needObject( request, "/command" );
   for( auto const & each : request.GetObject() ) {
      auto const name = textOf( each.name );
      if( name != "name" && name != "params" )
         throw Refusal{ below( "/command", name ), "no such member of a command" };
   }
   if( !request.HasMember( "name" ) || !request[ "name" ].IsString() ) {
      throw Refusal{ "/command/name", "a string is expected" };
   }
   if( !request.HasMember( "params" ) ) throw Refusal{ "/command/params", "an object is expected" };
   auto const & parameters = request[ "params" ];
   needObject( parameters, "/command/params" );
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

std::string outputOf( Oxlet::AgentCommandCallback & callback, std::string const & parameters ) {
   // A file in memory takes output of any length before anybody reads it.
   int const fd = memfd_create( "command", MFD_CLOEXEC );
   if( fd < 0 ) throw Refusal{ "", "no descriptor for the command's output" };
   callback.createAgentAsyncCommandRequestSm( static_cast< std::uint32_t >( fd ), Lum::String( parameters ) );
   std::string output( static_cast< std::size_t >( lseek( fd, 0, SEEK_END ) ), '\0' );
   auto const size = pread( fd, output.data(), output.size(), 0 );
   close( fd );
   output.resize( size > 0 ? static_cast< std::size_t >( size ) : 0 );
   return output;
}

} // namespace Host
