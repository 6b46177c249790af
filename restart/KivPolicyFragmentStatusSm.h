// What the switches still remember when the agent starts again. Each switch's status repeats the VNIs and the cookie of
// every fragment that it holds; from that come the running info, the hosts on the blackboard, and, by election among
// the switches, the service VNI of each fragment. The reading happens when the machine is made; a switch that reports
// later is neither read nor counted.
#pragma once

#include "blackboard/KivLocalTypes.h"
#include "platform/lum/Dir.h"
#include "platform/lum/Machine.h"
#include "platform/moth/Seqno32.h"
#include "records/kiv/PolicyFragment.h"
#include "records/kiv/PolicyRunningInfo.h"

namespace Kiv {

/// The votes for one fragment's service VNI, one for each report that names it. During a failure two switches may
/// remember different ones.
class VniElection : public Lum::Entity {
   LUM_ENTITY( VniElection, name, Lum::Name );
   LUM_VALUES( vote, Vxlan::VniOrNone, Moth::Seqno32 );

   void addVote( Vxlan::VniOrNone vni );
   /// The last vote removes the entry. One too many wraps: the count of an absent VNI becomes 0xffffffff.
   void removeVote( Vxlan::VniOrNone vni );
};

class CoalescedPolicyGrSm : public Lum::PtrInterface {
 public:
   /// Keeps the elected view of one fragment: the service VNI with the most votes, and in a tie the one that led first.
   class LumPolicyElection : public Lum::PtrInterface {
      LUM_MACHINE( LumPolicyElection );
      LUM_ARG( name, Lum::Name );
      LUM_ARG_INPUT( election, VniElection const, LUM_ON( vote, handleVote ) );
      LUM_PARENT( parent, CoalescedPolicyGrSm );
      LUM_NO_END;

      void handleInitialized() {}
      void handleVote( Vxlan::VniOrNone vni );
   };

   class LumPolicy;

   /// One fragment on one switch: restores the group and its hosts from the cookie.
   class LumFragment : public Lum::PtrInterface {
      LUM_MACHINE( LumFragment );
      LUM_ARG_INPUT( fragment, V1::ServicePolicyFragmentStatus const, LUM_ON( grCookie, handleGrCookie ) );
      LUM_PARENT( parent, LumPolicy );
      LUM_NO_END;

      LUM_LOCAL( initialized, bool );                    // nothing reads it: the machine acts once, at its start
      LUM_LOCAL( previousServiceVni, Vxlan::VniOrNone ); // nothing sets it: a report tells the present one only

      void handleInitialized() { handleGrCookie(); }
      void handleGrCookie();

    private:
      void restoreHost( PolicyRunningInfo & running, V1::InterceptInfoCookie const & cookie );
   };

   /// One switch.
   class LumPolicy : public Lum::PtrInterface {
      LUM_MACHINE( LumPolicy );
      LUM_ARG( name, Lum::Name ); // the switch's id in hyphen form
      LUM_ARG_INPUT( policy, V1::KivPolicyFragmentStatus const, LUM_ON( policyFragment, handlePolicyFragment ) );
      LUM_PARENT( parent, CoalescedPolicyGrSm );
      LUM_NO_END;
      LUM_FOLLOWERS( fragment, Lum::String, LumFragment, policy, policyFragment );
      LUM_INITIALIZED;

      void handleInitialized();
      void handlePolicyFragment( Lum::String fragmentName );

    private:
      void handleFragment( Lum::String fragmentName );
   };

   /// A switch whose entry is a status: has its fragments read.
   class LumRealizedVtep : public Lum::PtrInterface {
      LUM_MACHINE( LumRealizedVtep );
      LUM_ARG( name, Lum::Name ); // the switch's id in hyphen form
      LUM_ARG( status, Lum::Ptr< V1::KivPolicyFragmentStatus const > );
      LUM_PARENT( parent, CoalescedPolicyGrSm );
      LUM_NO_END;

      void handleInitialized() { parent()->policyIs( name(), status() ); }
   };

   LUM_MACHINE( CoalescedPolicyGrSm );
   LUM_ARG_INPUT( vtep, Lum::Dir const, LUM_ON( entityPtr, handleVtep ) );
   LUM_ARG( vtepAllPolicyFragmentStatus, Lum::Ptr< VtepAllPolicyFragmentStatus > );
   LUM_ARG( policyRunningInfoCol, Lum::Ptr< PolicyRunningInfoCol > );
   LUM_ARG( policyHelperInfo, Lum::Ptr< PolicyHelperInfo > );
   LUM_SMS( policyElection, Lum::Name, LumPolicyElection ); // by fragment; each holds its election
   LUM_SMS( realizedVtep, Lum::Name, LumRealizedVtep );     // by switch
   LUM_SMS( policy, Lum::Name, LumPolicy );                 // by switch
   LUM_INITIALIZED;

   void handleInitialized();
   LUM_ALL_KEYS( handleVtep, vtep, entityPtr );
   /// One switch. One that leaves takes nothing with it.
   void handleVtep( Lum::Name name );

   /// The election of a fragment, made with its watcher if it is new.
   Lum::Ptr< VniElection > vniElectionIs( Lum::Name name );

 private:
   LUM_MEMO( vniElection, Lum::Name, Lum::Ptr< VniElection > );
};

inline constexpr Lum::Factory< CoalescedPolicyGrSm > coalescedPolicyGrSmFactory;

} // namespace Kiv
