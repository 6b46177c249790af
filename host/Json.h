// JSON documents and JSON Pointers.
#pragma once

#include "host/Refusal.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <span>

namespace Host {

using Json = rapidjson::Value;
using Writer = rapidjson::Writer< rapidjson::StringBuffer >;

/// The keys of a JSON Pointer, unescaped.
using Tokens = std::vector< std::string >;

/// Reads a document. Raises Refusal when `text` is no JSON of well-formed UTF-8, or is nested deeper than anything that
/// is ever asked, since what walks a document does so on the stack.
rapidjson::Document parsed( std::string_view text );

/// Cuts a pointer. Raises Refusal when it is neither empty nor begins with "/", or has a "~" that escapes nothing.
Tokens tokensOf( std::string_view pointer );
/// Whether `tokens` is the place `head` or lies below it.
bool startsWith( Tokens const & tokens, Tokens const & head );
/// `pointer` with one more key.
std::string below( std::string_view pointer, std::string_view key );
/// The pointer of these keys.
std::string pointerOf( std::span< std::string const > tokens );

inline std::string_view textOf( Json const & json ) { return { json.GetString(), json.GetStringLength() }; }
inline void writeText( Writer & writer, std::string_view text ) {
   writer.String( text.data(), static_cast< rapidjson::SizeType >( text.size() ) );
}
inline void writeKey( Writer & writer, std::string_view text ) {
   writer.Key( text.data(), static_cast< rapidjson::SizeType >( text.size() ) );
}

/// Raises Refusal unless `json` is an object.
void needObject( Json const & json, std::string const & at );
/// Why the second of two equal keys of an object is refused.
constexpr char const * stoodBefore = "the key stands twice in its object";
/// Raises Refusal if a key stands twice in one object, here or anywhere below.
void needUniqueKeys( Json const & json, std::string const & at );

} // namespace Host
