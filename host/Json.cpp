#include "host/Json.h"

namespace Host {

namespace {

std::string unescaped( std::string_view token, std::string_view pointer ) {
   std::string key;
   for( std::size_t i = 0; i < token.size(); ++i ) {
      if( token[ i ] != '~' ) {
         key += token[ i ];
      } else if( ++i < token.size() && ( token[ i ] == '0' || token[ i ] == '1' ) ) {
         key += token[ i ] == '0' ? '~' : '/';
      } else {
         throw Refusal{ std::string( pointer ), "no JSON Pointer: \"~\" must be followed by 0 or 1" };
      }
   }
   return key;
}

} // namespace

Tokens tokensOf( std::string_view pointer ) {
   Tokens tokens;
   if( pointer.empty() ) return tokens;
   if( pointer[ 0 ] != '/' ) throw Refusal{ std::string( pointer ), "no JSON Pointer: it must begin with \"/\"" };
   for( std::size_t at = 1;; ) {
      auto const end = std::min( pointer.find( '/', at ), pointer.size() );
      tokens.push_back( unescaped( pointer.substr( at, end - at ), pointer ) );
      if( end == pointer.size() ) return tokens;
      at = end + 1;
   }
}

std::string below( std::string const & pointer, std::string_view key ) {
   std::string result = pointer + "/";
   for( char const each : key ) {
      if( each == '~' ) {
         result += "~0";
      } else if( each == '/' ) {
         result += "~1";
      } else {
         result += each;
      }
   }
   return result;
}

void needObject( Json const & json, std::string const & at ) {
   if( !json.IsObject() ) throw Refusal{ at, "an object is expected" };
}

} // namespace Host
