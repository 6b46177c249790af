// JSON as the tests write and read it.
#pragma once

#include "host/Json.h"

namespace Scenery {

inline std::string textOf( Host::Json const & json ) {
   rapidjson::StringBuffer buffer;
   Host::Writer writer( buffer );
   json.Accept( writer );
   return buffer.GetString();
}

/// A merge patch from the root that holds `value` at `pointer`.
inline std::string at( std::string const & pointer, std::string value ) {
   auto const tokens = Host::tokensOf( pointer );
   for( auto token = tokens.rbegin(); token != tokens.rend(); ++token ) value = "{\"" + *token + "\":" + value + "}";
   return value;
}

} // namespace Scenery
