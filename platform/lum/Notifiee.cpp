#include "platform/lum/Notifiee.h"

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

void Visit::left( Subscription const & gone ) {
   for( unsigned i = 0; i < lists_; ++i ) {
      if( next_[ i ] == &gone ) next_[ i ] = gone.next_;
   }
}

} // namespace Lum
