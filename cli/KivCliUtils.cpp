#include "cli/KivCliUtils.h"

#include "platform/lum/Fault.h"

// The parser's own checks are the checks of the parameters, so they are active in every build. A namespace of its own
// keeps these instances apart from those of sources that build the library with other checks.
#define RAPIDJSON_ASSERT( condition ) LUM_ASSERT( condition )
#define RAPIDJSON_NAMESPACE Kiv::Cli::Json
#define RAPIDJSON_NAMESPACE_BEGIN namespace Kiv::Cli::Json {
#define RAPIDJSON_NAMESPACE_END }
#include <rapidjson/document.h>

namespace Kiv::Cli {

namespace {

/// The text under `key`, empty if there is none.
Lum::String parseStringParam( Json::Document const & document, char const * key ) {
   auto const member = document.FindMember( key );
   if( member == document.MemberEnd() || !member->value.IsString() ) return {};
   return std::string_view( member->value.GetString(), member->value.GetStringLength() );
}

} // namespace

Lum::Ptr< PolicyDetailParams > parsePolicyDetailParams( Lum::String const & text ) {
   Json::Document document;
   document.Parse( text.charPtr() );
   auto const format = document[ "_format" ].GetUint();
   auto const revision = document[ "_revision" ].GetUint();
   return policyDetailParamsFactory( format, revision, parseStringParam( document, "policy" ) );
}

void printString( Lineout::Printer & printer, Lum::String const & text ) { printer.addFrills( "%s", text.charPtr() ); }

void printSpace( Lineout::Printer & printer ) { printString( printer, " " ); }

void printLinebreak( Lineout::Printer & printer ) { printString( printer, "\n" ); }

void printIndentedLine( Lineout::Printer & printer, Lum::String const & text, std::uint16_t indent ) {
   for( unsigned i = 0; i < indent; ++i ) printSpace( printer );
   printString( printer, text );
   printLinebreak( printer );
}

} // namespace Kiv::Cli
