#include "host/Json.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <rapidjson/error/en.h>
#include <unordered_set>

namespace Host {

namespace {

constexpr int deepest = 100;

Refusal unreadable( std::string const & reason, std::size_t offset ) {
   return { "", reason + " (at character " + std::to_string( offset + 1 ) + ")" };
}

/// The code unit that the escape at `text` stands for; nothing if it is no "\\uXXXX".
std::optional< unsigned > unitAt( std::string_view text ) {
   if( !text.starts_with( "\\u" ) ) return std::nullopt;
   unsigned unit = 0;
   auto const digits = text.substr( 2, 4 );
   auto const read = std::from_chars( digits.data(), digits.data() + digits.size(), unit, 16 );
   return read.ptr == digits.data() + 4 ? std::optional( unit ) : std::nullopt;
}

/// Looks for what the parser would run into or let pass: a zero, which it takes for the end, deep nesting, and half of
/// a surrogate pair, which is no character.
void checkText( std::string_view text ) {
   int depth = 0;
   bool quoted = false;
   for( std::size_t i = 0; i < text.size(); ++i ) {
      char const each = text[ i ];
      if( each == '\0' ) throw unreadable( "A zero character is no JSON.", i );
      if( each == '"' ) quoted = !quoted;
      if( quoted ) {
         if( each != '\\' ) continue;
         auto const unit = unitAt( text.substr( i ) );
         bool const high = unit && ( *unit & 0xfc00 ) == 0xd800;
         if( unit && ( *unit & 0xfc00 ) == 0xdc00 ) throw unreadable( "A low surrogate without a high one.", i );
         i += high ? 11 : 1; // the parser sees to what follows a high one
      } else if( each == '{' || each == '[' ) {
         if( ++depth > deepest ) throw unreadable( "Nested too deeply.", i );
      } else if( each == '}' || each == ']' ) {
         --depth;
      }
   }
}

Refusal noPointer( std::string_view text, char const * reason ) {
   return { "", "no JSON Pointer: " + quoted( text ) + ": " + reason };
}

std::string unescaped( std::string_view token, std::string_view pointer ) {
   std::string key;
   for( std::size_t i = 0; i < token.size(); ++i ) {
      if( token[ i ] != '~' ) {
         key += token[ i ];
      } else if( ++i < token.size() && ( token[ i ] == '0' || token[ i ] == '1' ) ) {
         key += token[ i ] == '0' ? '~' : '/';
      } else {
         throw noPointer( pointer, "\"~\" must be followed by 0 or 1" );
      }
   }
   return key;
}

} // namespace

rapidjson::Document parsed( std::string_view text ) {
   checkText( text );
   rapidjson::Document document;
   document.Parse< rapidjson::kParseValidateEncodingFlag | rapidjson::kParseFullPrecisionFlag >( text.data(),
                                                                                                 text.size() );
   if( document.HasParseError() ) {
      throw unreadable( rapidjson::GetParseError_En( document.GetParseError() ), document.GetErrorOffset() );
   }
   return document;
}

Tokens tokensOf( std::string_view pointer ) {
   Tokens tokens;
   if( pointer.empty() ) return tokens;
   if( pointer[ 0 ] != '/' ) throw noPointer( pointer, "it must begin with \"/\"" );
   for( std::size_t at = 1;; ) {
      auto const end = std::min( pointer.find( '/', at ), pointer.size() );
      tokens.push_back( unescaped( pointer.substr( at, end - at ), pointer ) );
      if( end == pointer.size() ) return tokens;
      at = end + 1;
   }
}

bool startsWith( Tokens const & tokens, Tokens const & head ) {
   return head.size() <= tokens.size() && std::equal( head.begin(), head.end(), tokens.begin() );
}

std::string below( std::string_view pointer, std::string_view key ) {
   std::string result( pointer );
   result += '/';
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

std::string pointerOf( std::span< std::string const > tokens ) {
   std::string pointer;
   for( auto const & token : tokens ) pointer = below( pointer, token );
   return pointer;
}

void needObject( Json const & json, std::string const & at ) {
   if( !json.IsObject() ) throw Refusal{ at, "an object is expected" };
}

void needUniqueKeys( Json const & json, std::string const & at ) {
   auto const descend = [ & ]( Json const & value, std::string_view key ) {
      if( value.IsObject() || value.IsArray() ) needUniqueKeys( value, below( at, key ) );
   };
   if( json.IsArray() ) {
      for( rapidjson::SizeType i = 0; i < json.Size(); ++i ) descend( json[ i ], std::to_string( i ) );
   }
   if( !json.IsObject() ) return;
   std::unordered_set< std::string_view > keys;
   for( auto const & each : json.GetObject() ) {
      auto const key = textOf( each.name );
      if( !keys.insert( key ).second ) throw Refusal{ below( at, key ), stoodBefore };
      descend( each.value, key );
   }
}

} // namespace Host
