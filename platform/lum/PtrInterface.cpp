#include "platform/lum/PtrInterface.h"

#include "platform/lum/Notifiee.h"

#include <new>

namespace Lum {

void * PtrInterface::lumMemAlloc( std::size_t size ) { return ::operator new( size ); }

void PtrInterface::operator delete( void * memory ) { ::operator delete( memory ); }

void PtrInterface::zeroReferencesIs() {
   // One reference stands for the deletion itself, so that a handler that takes a pointer meanwhile does not delete
   // twice. A visit that uses the object takes it over.
   references_ = 1;
   if( !Visit::keep( *this ) ) handleZeroRef();
}

void PtrInterface::handleZeroRef() {
   // Before the destructor: no handler may fire in a half-destroyed machine.
   lumDoZombieReactors( true );
   delete this;
}

} // namespace Lum
