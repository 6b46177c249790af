// What operator commands share: their parameters and the lines of their output.
#pragma once

#include "platform/lineout/Lineout.h"
#include "platform/lum/Collection.h"
#include "platform/lum/PtrInterface.h"
#include "platform/lum/Strep.h"

#include <cstdint>

namespace Kiv::Cli {

/// What every command is given.
class CommandParams : public Lum::PtrInterface {
 public:
   CommandParams( std::uint32_t format, std::uint32_t revision ) : format_( format ), revision_( revision ) {}

   std::uint32_t format() const { return format_; }     // of the output; for the printer
   std::uint32_t revision() const { return revision_; } // of the model; there is one

 private:
   std::uint32_t format_;
   std::uint32_t revision_;
};

inline Lum::Ptr< CommandParams > commandParamsFactory( std::uint32_t format, std::uint32_t revision ) {
   return new CommandParams( format, revision );
}

/// Those of "showPolicyDetail".
class PolicyDetailParams : public CommandParams {
 public:
   PolicyDetailParams( std::uint32_t format, std::uint32_t revision, Lum::String policy )
      : CommandParams( format, revision ), policy_( std::move( policy ) ) {}

   Lum::String const & policy() const { return policy_; } // the source policy to show; empty: all

 private:
   Lum::String policy_;
};

inline Lum::Ptr< PolicyDetailParams > policyDetailParamsFactory( std::uint32_t format, std::uint32_t revision,
                                                                 Lum::String policy ) {
   return new PolicyDetailParams( format, revision, std::move( policy ) );
}

/// Reads the parameters from a JSON object: "_format" and "_revision", both unsigned, and "policy", a text that may be
/// left out; what is no text counts as left out. The command front end has checked the first two: a text without them,
/// or one that is no JSON object, is an assertion.
Lum::Ptr< PolicyDetailParams > parsePolicyDetailParams( Lum::String const & text );

/// The keys joined by ", ", in the order of the set; empty for an empty set.
template< class K >
Lum::String joinStrKeys( Lum::HashMap2018< K, bool > const & keys ) {
   std::string text;
   for( auto const & [ key, member ] : keys ) text += Lum::textOf( text.empty() ? "" : ", ", key );
   return text;
}

void printString( Lineout::Printer & printer, Lum::String const & text );
void printSpace( Lineout::Printer & printer );
void printLinebreak( Lineout::Printer & printer );

/// One line: `indent` blanks and the text.
void printIndentedLine( Lineout::Printer & printer, Lum::String const & text, std::uint16_t indent );

} // namespace Kiv::Cli
