// Who writes a record of the databases. Each attribute has one writer, and whoever reads it need not ask who was last.
//
//    operator    a person or a script that sets the agent up
//    source      a policy source
//    controller  the controller's own services
//    fabric      the control service of the fabric
//    switch      a switch's client, of that switch alone
//    agent       this agent
#pragma once

#include <string_view>

namespace Kiv {

/// Whether one of the writers above is called so.
constexpr bool isWriter( std::string_view name ) {
   for( std::string_view const each : { "operator", "source", "controller", "fabric", "switch", "agent" } ) {
      if( name == each ) return true;
   }
   return false;
}

/// The name of who writes attribute A; empty where neither it nor its class is marked.
template< class A >
constexpr std::string_view writerOf() {
   if constexpr( requires { A::Owner::recordWriter( A() ); } ) {
      return A::Owner::recordWriter( A() );
   } else {
      return {};
   }
}

} // namespace Kiv

/// Marks a record class with who writes all its attributes, and those of the records that it holds as far as they bear
/// no mark of their own. A class that several writers use is not marked, but the classes that hold it.
#define RECORD_WRITER( who )                                                                                           \
   static_assert( ::Kiv::isWriter( who ) );                                                                            \
   template< class Attribute >                                                                                         \
   static constexpr std::string_view recordWriter( Attribute ) {                                                       \
      return who;                                                                                                      \
   }                                                                                                                   \
   static_assert( true )

/// Marks a single attribute, behind its declaration, that someone else writes.
#define ATTRIBUTE_WRITER( attribute, who )                                                                             \
   static_assert( ::Kiv::isWriter( who ) );                                                                            \
   static constexpr std::string_view recordWriter( LumAttribute_##attribute ) { return who; }                          \
   static_assert( true )
