// The one way in which bad input is refused: the place, what is wrong there, and how it would be right.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Host {

/// `text`, which may be of any length, as it stands in an error: its first 200 characters.
std::string shortened( std::string_view text );
/// The same in quotation marks.
std::string quoted( std::string_view text );

/// Why a request changes nothing: the place as a JSON Pointer (RFC 6901), cut at 200 characters, or "" where no place
/// is meant; and the reason.
struct Refusal {
   Refusal( std::string_view place, std::string why ) : at( shortened( place ) ), reason( std::move( why ) ) {}

   std::string at;
   std::string reason;
};

/// The refusal of a text that is not what is expected: `what` ("no valid key"), the text, and what would be right.
Refusal misfit( std::string_view place, std::string_view what, std::string_view text, std::string_view expected );

/// The refusal of a name that is none of those that there are: `what` ("no such record"), the name, and the names that
/// there are, those first that take the fewest edits to make of it.
Refusal unknown( std::string_view place, std::string_view what, std::string_view name,
                 std::vector< std::string > const & known );

} // namespace Host
