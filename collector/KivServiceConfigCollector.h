// The collector: many sources, one configuration. A source is a name that has an entity in each of three directories.
// The monitor keeps a copy machine for each source; the copy machine keeps a member for each policy group and each
// interface set that its source declares. Of the members for one key, that of the source whose name sorts first is the
// winner and copies its record to the merged configuration; the others stand by.
//
//    standby --its key is free, or only higher names declare it, or the winner withdrew--> winner
//    winner --a lower name declares the key--> standby
//
// A take-over deletes the output record before the new winner copies, so its watchers see one record go and another
// come, never a mixture of two sources.
#pragma once

#include "platform/lum/Dir.h"
#include "platform/lum/Machine.h"
#include "records/kiv/PolicyConfig.h"

namespace Kiv {

class ServiceConfigDirMonitorSm;

/// One source: copies what it wins to the merged configuration, and withdraws all of it when it goes.
class ServiceConfigCopySm : public Lum::PtrInterface {
 public:
   /// One policy group of the source. Its handlers write only while it is `initialized`, that is, the winner.
   class ServicePolicySm : public Lum::PtrInterface {
      LUM_MACHINE( ServicePolicySm );
      LUM_ARG_INPUT( servicePolicyIn, ServicePolicy const, LUM_ON( serviceDeviceId, handleServiceDeviceId ),
                     LUM_ON( nearIntfUuid, handleNearIntfUuid ), LUM_ON( farIntfUuid, handleFarIntfUuid ),
                     LUM_ON( policyName, handlePolicyName ), LUM_ON( interceptFlow, handleInterceptFlow ) );
      LUM_PARENT( parent, ServiceConfigCopySm );
      LUM_END( cleanup );

      LUM_LOCAL( servicePolicyOut, Lum::Ptr< ServicePolicy > ); // null until it has won once
      LUM_LOCAL( initialized, bool ); // no LUM_INITIALIZED: a standby's handlers leave a trace

      Lum::Name name() const { return servicePolicyIn()->name(); }

      /// Competes for the key: becomes the winner and copies everything, or waits.
      void handleInitialized();
      void handleServiceDeviceId();
      void handleNearIntfUuid();
      void handleFarIntfUuid();
      // The all-keys handlers only add: the output record that they run on is new.
      void handlePolicyName();
      void handlePolicyName( Lum::String policyName );
      void handleInterceptFlow();
      void handleInterceptFlow( Neroli::IpGenAddrWithMask key );
      /// The record is gone: a winner deletes its copy and lets the next source have the key.
      void cleanup();

    private:
      bool isStandby() const;
   };

   /// One interface set of the source; the same as ServicePolicySm.
   class ServiceIntfInfoSm : public Lum::PtrInterface {
      LUM_MACHINE( ServiceIntfInfoSm );
      LUM_ARG_INPUT( serviceIntfInfoIn, ServiceIntfInfo const, LUM_ON( zone, handleZone ),
                     LUM_ON( intf, handleServiceInterface ) );
      LUM_PARENT( parent, ServiceConfigCopySm );
      LUM_END( cleanup );

      LUM_LOCAL( serviceIntfInfoOut, Lum::Ptr< ServiceIntfInfo > ); // null until it has won once
      LUM_LOCAL( initialized, bool );                               // as above

      Lum::String uuid() const { return serviceIntfInfoIn()->uuid(); }

      /// Competes for the key: becomes the winner and copies everything, or waits.
      void handleInitialized();
      void handleZone();
      void handleServiceInterface();
      void handleServiceInterface( SwitchIntfPair key );
      /// The record is gone: a winner deletes its copy and lets the next source have the key.
      void cleanup();

    private:
      bool isStandby() const;
   };

   LUM_MACHINE( ServiceConfigCopySm );
   LUM_ARG( source, Lum::String );
   LUM_ARG_INPUT( servicePolicyConfigIn, ServicePolicyConfig const, LUM_FOLLOW( servicePolicy, servicePolicyIn ) );
   LUM_ARG_INPUT( serviceIntfConfigIn, ServiceIntfConfig const, LUM_FOLLOW( intfSet, serviceIntfInfoIn ) );
   LUM_ARG( servicePolicyConfigOut, Lum::Ptr< ServicePolicyConfig > );
   LUM_ARG( serviceIntfConfigOut, Lum::Ptr< ServiceIntfConfig > );
   LUM_PARENT( parent, ServiceConfigDirMonitorSm );
   LUM_NO_END; // but for what the destructor does

   LUM_INITIALIZED;
   LUM_FOLLOWERS( servicePolicyIn, Lum::Name, ServicePolicySm, servicePolicyConfigIn, servicePolicy );
   LUM_FOLLOWERS( serviceIntfInfoIn, Lum::String, ServiceIntfInfoSm, serviceIntfConfigIn, intfSet );

   /// Removes the members, each of which cleans up, while this machine and the monitor are still whole.
   ~ServiceConfigCopySm() override;

   void handleInitialized();
};

inline constexpr Lum::Factory< ServiceConfigCopySm > serviceConfigCopySmFactory;

/// What one source says of its own convergence.
class ServicePolicySourceStateSm : public Lum::PtrInterface {
   LUM_MACHINE( ServicePolicySourceStateSm );
   LUM_ARG( source, Lum::String );
   LUM_ARG_INPUT( servicePolicySourceStateIn, KivPolicySourceState const,
                  LUM_ON( convergenceComplete, handlePolicySourceState ) );
   LUM_PARENT( parent, ServiceConfigDirMonitorSm );
   LUM_NO_END;

   void handleInitialized() {} // the monitor looks at it once it is a member
   void handlePolicySourceState();
};

/// Follows the three directories and decides who wins. It lives as long as the agent, whether the feature is enabled
/// or not, and is the only writer of its three outputs.
class ServiceConfigDirMonitorSm : public Lum::PtrInterface {
   LUM_MACHINE( ServiceConfigDirMonitorSm );
   LUM_ARG_INPUT( servicePolicyConfigDir, Lum::Dir const, LUM_ON( entityPtr, handleServiceConfigDir ) );
   LUM_ARG_INPUT( serviceIntfConfigDir, Lum::Dir const, LUM_ON( entityPtr, handleServiceConfigDir ) );
   LUM_ARG_INPUT( servicePolicySourceStateDir, Lum::Dir const, LUM_ON( entityPtr, handleServiceConfigDir ) );
   LUM_ARG( servicePolicyConfigOut, Lum::Ptr< ServicePolicyConfig > );
   LUM_ARG( serviceIntfConfigOut, Lum::Ptr< ServiceIntfConfig > );
   LUM_ARG( servicePolicySourceStateOut, Lum::Ptr< KivPolicySourceState > );

   LUM_SMS( serviceConfigCopySm, Lum::String, ServiceConfigCopySm );               // by source
   LUM_SMS( servicePolicySourceStateSm, Lum::String, ServicePolicySourceStateSm ); // by source
   LUM_LOCAL( initialized, bool ); // no LUM_INITIALIZED: a source may come while the first walk makes the others

   /// Withdraws every source in turn, which empties the merged configuration.
   ~ServiceConfigDirMonitorSm() override;

   void handleInitialized();
   void handleServiceConfigDir();
   /// One name: a source if all its three entities are there, none otherwise. Raises NameInUseException when an entity
   /// of a standing source was replaced by another; the source then goes on with the old one.
   void handleServiceConfigDir( Lum::Name name );
   /// The sources have converged when each of them has; so they have when there is none.
   void handlePolicySourceState();

   /// Decides between `src` and the other sources that declare `policy`, and returns the winner: the lowest name in
   /// byte order, `src` when nobody else declares it. With `activateNext` `src` withdraws, its copy is deleted already,
   /// and the best of the others copies itself. Without it `src` competes; if it wins, the old winner becomes a standby
   /// and its copy is deleted.
   Lum::String pickBestSourcePolicy( Lum::String src, Lum::Name policy, bool activateNext );
   /// The same for an interface set.
   Lum::String pickBestSourceIntf( Lum::String src, Lum::String uuid, bool activateNext );

 private:
   template< class Declares >
   Lum::String bestOtherSource( Lum::String const & src, Declares declares ) const;
};

inline constexpr Lum::Factory< ServiceConfigDirMonitorSm > serviceConfigDirMonitorSmFactory;

} // namespace Kiv
