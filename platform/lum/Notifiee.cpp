#include "platform/lum/Notifiee.h"

#include <algorithm>

namespace Lum {

void Subscription::subscribe( NotifieeList & list, NotifieeConst * notifiee ) {
   unsubscribe();
   list_ = &list;
   notifiee_ = notifiee;
   registration_ = ++Visit::registrations_;
   previous_ = list.last_;
   ( previous_ ? previous_->next_ : list.first_ ) = this;
   list.last_ = this;
}

void Subscription::unsubscribe() {
   if( !list_ ) return;
   for( auto * visit = Visit::innermost_; visit; visit = visit->outer_ ) visit->left( *this );
   ( previous_ ? previous_->next_ : list_->first_ ) = next_;
   ( next_ ? next_->previous_ : list_->last_ ) = previous_;
   previous_ = next_ = nullptr;
   list_ = nullptr;
}

NotifieeList::~NotifieeList() {
   while( first_ ) first_->unsubscribe();
}

unsigned Visit::depth() {
   unsigned depth = 0;
   for( auto const * visit = innermost_; visit; visit = visit->outer_ ) ++depth;
   return depth;
}

Subscription * Visit::takeOfSeveral() {
   Subscription ** best = nullptr;
   for( unsigned i = 0; i < lists_; ++i ) {
      if( next_[ i ] && ( !best || next_[ i ]->registration_ < ( *best )->registration_ ) ) best = &next_[ i ];
   }
   if( !best || ( *best )->registration_ > newest_ ) return nullptr;
   auto * const each = *best;
   *best = each->next_;
   return each;
}

bool Visit::keep( PtrInterface & object ) {
   for( auto * visit = innermost_; visit; visit = visit->outer_ ) {
      if( visit->entity_ != &object && !visit->runs( object ) ) continue;
      visit->kept().emplace_back( &object, false );
      return true;
   }
   return false;
}

void Visit::keepOwner( PtrInterface const & machine ) {
   if( !machine.lumOwner() ) return;
   for( auto * visit = innermost_; visit; visit = visit->outer_ ) {
      if( visit->runs( machine ) ) visit->kept().emplace_back( machine.lumOwner() );
   }
}

bool Visit::runs( PtrInterface const & object ) const {
   auto const isOrOwns = [ & ]( PtrInterface const * machine ) {
      while( machine && machine != &object ) machine = machine->lumOwner();
      return machine != nullptr;
   };
   if( isOrOwns( machine_ ) ) return true;
   return kept_
          && std::any_of( kept_->begin(), kept_->end(), [ & ]( auto const & each ) { return isOrOwns( each.get() ); } );
}

std::vector< Ptr< PtrInterface > > & Visit::kept() {
   if( !kept_ ) kept_ = std::make_unique< std::vector< Ptr< PtrInterface > > >();
   return *kept_;
}

void Visit::release() {
   machine_ = nullptr;
   drop( std::move( kept_ ) ); // the entity comes back to kept_ until the visit ends
}

// From the back: an owner was kept before its machine, whose destructor may still look at it.
void Visit::drop( std::unique_ptr< std::vector< Ptr< PtrInterface > > > gone ) {
   while( gone && !gone->empty() ) gone->pop_back();
}

void Visit::left( Subscription const & gone ) {
   for( unsigned i = 0; i < lists_; ++i ) {
      if( next_[ i ] == &gone ) next_[ i ] = gone.next_;
   }
}

} // namespace Lum
