// What the switches see, as a person reads it.
#pragma once

#include <map>
#include <rapidjson/document.h>
#include <string>

namespace Story {

/// The lines that tell one switch's fragments, by what they are about ("web-5010 flow InsideVtepEgress").
using Lines = std::map< std::string, std::string >;

/// The lines of every switch in a document of "/switch".
std::map< std::string, Lines > linesOf( rapidjson::Value const & switches );

/// Prints what came (+), changed (~) and went (-) on each switch; says so when nothing did.
void printChanges( std::map< std::string, Lines > const & before, std::map< std::string, Lines > const & after );

} // namespace Story
