// Service VNIs: the pool that the operator configures, who holds which, and the machine that grants them. It is the
// only writer of granted service VNIs.
#pragma once

#include "blackboard/KivLocalTypes.h"
#include "platform/lum/Machine.h"
#include "records/kiv/PolicyConfig.h"

namespace Kiv {

/// A range of VNIs, both ends inclusive. One that is upside down can be held and never holds a VNI.
struct VniRange {
   LUM_VALUE_RECORD( VniRange );
   LUM_KEY_FIELD( vniRangeMin, Vxlan::Vni );
   LUM_FIELD( vniRangeMax, Vxlan::Vni );

   /// Never true for none: no maximum reaches it.
   bool inRange( Vxlan::VniOrNone vni ) const {
      return vniRangeMin.value() <= vni.value() && vni.value() <= vniRangeMax.value();
   }
};

/// The pool, and what has been handed out to whom. It holds no cursor: the next VNI follows from the two collections
/// alone, so that a rebuild of both gives the same allocations. An allocation's name is that of the group's fragment.
class VniAllocator : public Lum::Entity {
   LUM_ENTITY( VniAllocator, name, Lum::Name );
   LUM_ORDERED_VALUES( vniRanges, Vxlan::Vni, VniRange );   // by the range's minimum
   LUM_VALUES( allocatedVni, Vxlan::VniOrNone, Lum::Name ); // may hold VNIs that no range covers any more

   /// Inserts the range under its minimum, in the place of one with the same minimum.
   void vniRangesIs( VniRange range ) { vniRangesIs( range.vniRangeMin, range ); }
   /// Whether there is a range with that minimum.
   bool vniRangesHas( Vxlan::Vni minimum ) const { return vniRanges().find( minimum ) != nullptr; }

   /// The lowest free VNI of the lowest range that has one, recorded under `name`; none when all are spent.
   Vxlan::VniOrNone allocateVni( Lum::Name name );
   /// Releases what the name holds, then allocates.
   Vxlan::VniOrNone reallocateVni( Lum::Name name );
   /// Removes every allocation of exactly that name.
   void releaseVni( Lum::Name name );
   /// Removes every allocation of the group, for all its original VNIs.
   void releaseAllVniPerPolicy( Lum::Name policy );
   /// Whether some range holds the VNI.
   bool inRange( Vxlan::VniOrNone vni ) const;
};

/// An empty allocator.
Lum::Ptr< VniAllocator > vniAllocatorFactory();

/// Replaces the pool with what `text` says: elements separated by ",", each a VNI or a minimum and a maximum joined by
/// "-". The first empty element ends the text. Raises std::invalid_argument or std::out_of_range ("stoi") for an
/// element that is no number, RangeException for a number that is no VNI; the pool then holds what stood before the bad
/// element.
void parseVniRangeString( Lum::Ptr< VniAllocator > const & allocator, Lum::String text );

/// Grants service VNIs. A group asks by an entry of value none in its `originalToServiceVni` and is answered in the
/// same map. A new range text moves the grants that fall out of it and serves those that wait. At the start the grants
/// of the previous run, as the switches remember them, are taken up. A VNI that falls free wakes nobody.
class ServiceVniSm : public Lum::PtrInterface {
 public:
   /// The requests of one group.
   class LumPolicyInfo : public Lum::PtrInterface {
      LUM_MACHINE( LumPolicyInfo );
      LUM_ARG_INPUT( policyInfo, PolicyInfo, LUM_ON( originalToServiceVni, handleServiceVniReq ) );
      LUM_PARENT( parent, ServiceVniSm );
      LUM_INITIALIZED_WITH( parent );
      LUM_END( cleanup );

      void handleInitialized() {
         if( initialized() ) handleServiceVniReq(); // before that the owner's start walks all requests
      }
      LUM_ALL_KEYS( handleServiceVniReq, policyInfo, originalToServiceVni );
      void handleServiceVniReq( Vxlan::VniOrNone originalVni );
      /// The group has gone: all its VNIs are free, whatever its entries say.
      void cleanup();
   };

   LUM_MACHINE( ServiceVniSm );
   LUM_ARG_INPUT( policyHelperInfo, PolicyHelperInfo, LUM_FOLLOW( policyInfo, policyInfo ) );
   LUM_ARG_INPUT( kivAgentConfig, Config const, LUM_ON( vniRange, handleVniRange ) );
   LUM_ARG( vtepAllPolicyFragmentStatus, Lum::Ptr< VtepAllPolicyFragmentStatus const > ); // read at the start only
   LUM_NO_END;
   LUM_FOLLOWERS( policyInfo, Lum::Name, LumPolicyInfo, policyHelperInfo, policyInfo );
   LUM_INITIALIZED;

   Lum::Ptr< VniAllocator > const & allocator() const { return allocator_; }

   void handleInitialized();
   void handleVniRange();

 private:
   void takeUpElected();
   void takeUpGrants();

   Lum::Ptr< VniAllocator > const allocator_ = vniAllocatorFactory();
};

inline constexpr Lum::Factory< ServiceVniSm > serviceVniSmFactory;

} // namespace Kiv
