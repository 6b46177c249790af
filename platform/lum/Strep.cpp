#include "platform/lum/Strep.h"

namespace Lum {

String quoted( std::string_view text ) {
   std::string out = "'";
   for( char const c : text ) {
      if( c == '\'' || c == '\\' ) out += '\\';
      out += c;
   }
   return out + "'";
}

String takeQuoted( std::string_view & rest ) {
   std::string_view const all = rest;
   needString( rest, "'" );
   std::string out;
   for( bool escaped = false; !rest.empty() && ( escaped || rest.front() != '\'' ); rest.remove_prefix( 1 ) ) {
      escaped = !escaped && rest.front() == '\\';
      if( !escaped ) out += rest.front();
   }
   if( rest.empty() ) throwRangeException( textOf( "no closing quote in ", all ) );
   rest.remove_prefix( 1 );
   return out;
}

} // namespace Lum
