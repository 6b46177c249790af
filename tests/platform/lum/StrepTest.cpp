#include "platform/lum/Strep.h"

#include "platform/lum/ValueRecord.h"

#include <boost/describe/enum.hpp>
#include <boost/describe/enum_to_string.hpp>
#include <gtest/gtest.h>
#include <map>

namespace Strep {

enum class Colour { red, green };
BOOST_DESCRIBE_ENUM( Colour, red, green )
Lum::String stringValue( Colour colour ) { return boost::describe::enum_to_string( colour, "unknown" ); }

struct Inner {
   LUM_VALUE_RECORD( Inner );
   LUM_FIELD( colour, Colour );
};

struct Outer {
   LUM_VALUE_RECORD( Outer );
   LUM_FIELD( text, Lum::String );
   LUM_FIELD( inner, Inner );
   using Allowed = std::map< Lum::String, bool >;
   LUM_FIELD( allowed, Allowed );
   LUM_FIELD( small, std::uint8_t );
   LUM_FIELD( period, double );
};

TEST( Strep, ARecordIsReadFieldByField ) {
   Outer record;
   record.text = "a 'quoted', {text} \\";
   record.inner.colour = Colour::green;
   record.allowed = { { "1, 2", true }, { "3", false } };
   record.small = 200;
   record.period = 0.5;
   auto const strep = Lum::valueToStrep( record );
   EXPECT_EQ( strep, "Value('Strep::Outer', ** {'text': 'a \\'quoted\\', {text} \\\\', "
                     "'inner': Value('Strep::Inner', ** {'colour': green}), "
                     "'allowed': {'1, 2': True, '3': False}, 'small': 200, 'period': 0.5})" );
   EXPECT_TRUE( Lum::strepToValue< Outer >( strep.view() ) == record );
   EXPECT_TRUE( Lum::strepToValue< Outer >( Lum::valueToStrep( Outer() ).view() ) == Outer() );
}

template< class T >
void expectRefused( std::initializer_list< char const * > texts ) {
   for( auto const * text : texts ) EXPECT_THROW( Lum::strepToValue< T >( text ), Lum::RangeException ) << text;
}

TEST( Strep, OtherTextsAreRefused ) {
   expectRefused< Lum::String >( { "", "a", "'a", "'a\\", "'a\\'", "'a'b", " 'a'" } );
   expectRefused< Outer::Allowed >( { "{", "{'a'}", "{'a': True", "{'a': yes}", "{'a': True 'b': True}" } );
   expectRefused< std::uint8_t >( { "256", "-1", "7, 8", "" } );
   expectRefused< Inner >( { "Value('Strep::Inner', ** {'color': green})", "Value('Strep::Inner', ** {'colour': blue})",
                             "Value('Strep::Outer', ** {'colour': green})" } );
}

TEST( Format, ATextOfAnyLengthIsWhole ) {
   for( std::size_t size = 0; size < 300; ++size ) {
      std::string const text( size, 'x' );
      EXPECT_EQ( Lum::format( "%s!", text.c_str() ), text + "!" );
   }
}

} // namespace Strep
