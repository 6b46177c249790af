// Where each intercepted host is: its MAC, its VNI and the switches behind which it sits, read from the fabric's tables
// of each VNI and written to the host's record on the blackboard; and which hosts have aged out.
//
//    VniFdbStatusDirSm   the directory of VNIs, and the ageing rounds
//       L2StatusSm       one VNI: finds the hosts' addresses
//          VtepLocatorSm one intercepted MAC: follows its VTEP
//
// Nothing is done for an entry of the fabric's tables but a lookup, unless its address is intercepted.
#pragma once

#include "blackboard/KivLocalTypes.h"
#include "platform/lum/Dir.h"
#include "platform/lum/Machine.h"
#include "platform/moth/TimerTask.h"
#include "records/kiv/PolicyConfig.h"
#include "records/loomis/VniStatus.h"

#include <boost/container/small_vector.hpp>
#include <map>
#include <vector>

namespace Kiv {

class L2StatusSm;
class VniFdbStatusDirSm;

/// Follows the VTEP of one intercepted MAC and writes `switchPair` of the records of all hosts that have it.
class VtepLocatorSm : public Lum::PtrInterface {
   LUM_MACHINE( VtepLocatorSm );
   LUM_ARG( mac, Neroli::EthAddr );
   LUM_ARG_INPUT( vniFdbStatus, Loomis::VniFdbStatusV2 const, LUM_ON_KEY( macVtepTable, mac, handleMacVtepTable ) );
   LUM_ARG_INPUT( policyHelperInfo, PolicyHelperInfo const, LUM_ON( vtepIpToSwitchPair, handleVtepIpToSwitchPair ) );
   LUM_ARG( hostInfo, Lum::Ptr< HostInfo > );
   LUM_PARENT( parent, L2StatusSm );
   LUM_END( destroy );
   LUM_LOCAL( latestVtepIp, Neroli::IpGenAddr ); // the last known one; unset until there is one
   LUM_INITIALIZED;

   void handleInitialized();
   void handleMacVtepTable();
   /// A switch that joins or leaves a pair reaches the host without a change of the tables.
   void handleVtepIpToSwitchPair( Neroli::IpGenAddr vtepIp );
   /// The host is not to be followed any more: its location is unknown.
   void destroy();

 private:
   void updateHostLocation();
};

/// One VNI.
class L2StatusSm : public Lum::PtrInterface {
   LUM_MACHINE( L2StatusSm );
   LUM_ARG( vni, Vxlan::Vni );
   LUM_ARG_INPUT( vniFdbStatus, Loomis::VniFdbStatusV2 const, LUM_ON( ipToMacTable, handleIpToMacTable ) );
   LUM_ARG_INPUT( policyHelperInfo, PolicyHelperInfo, LUM_ON_MEMBER_OF( ipToPolicy, followedIn, vni, vni, handleVni ) );
   LUM_PARENT( parent, VniFdbStatusDirSm );
   LUM_END( cleanup );
   LUM_MEMO( ipToMac, Neroli::IpGenAddr, Neroli::EthAddr );                // the hosts that were found here
   LUM_MEMO( macToIp, Neroli::EthAddr, Neroli::IpGenAddr );                // the one that is followed for a MAC
   LUM_MEMO( otherIp, Neroli::EthAddr, std::vector< Neroli::IpGenAddr > ); // the others that have it; most have none
   LUM_SMS( vtepLocatorSm, Neroli::EthAddr, VtepLocatorSm );
   LUM_LOCAL( order, std::uint64_t ); // rises with every VNI that comes
   LUM_INITIALIZED;

   void handleInitialized();
   LUM_ALL_KEYS( handleIpToMacTable, vniFdbStatus, ipToMacTable );
   void handleIpToMacTable( Neroli::IpGenAddr ip );
   /// A host came to the blackboard or left it.
   void handleIpToPolicy( Lum::Ptr< HostInfo > host );
   /// The group that controls a host changed.
   void handlePolicy( Lum::Ptr< HostInfo > host );
   /// A host was found in another VNI, whose machine follows it from now on.
   void handleVni( Lum::Ptr< HostInfo > host );
   /// Writes the place of a MAC to the hosts that have it and are not followed themselves: flows select the MAC.
   void shareLocation( Neroli::EthAddr mac, SwitchPair pair );
   /// The VNI is gone: its hosts have no location.
   void cleanup();

 private:
   void addHostInfo( Neroli::IpGenAddr ip );
   void removeHostInfo( Neroli::IpGenAddr ip );
   void follow( Neroli::EthAddr mac, Lum::Ptr< HostInfo > info );
   void pruneHost( Neroli::IpGenAddr ip );
   void pruneMac( Neroli::EthAddr mac );
   void forget( Neroli::IpGenAddr ip );
   void othersAre( Neroli::EthAddr mac, std::vector< Neroli::IpGenAddr > const & others );
   void letGo( Neroli::IpGenAddr ip );
   void populateGRState();
};

/// A host that was not seen in the last rounds.
class StaleHost : public Lum::PtrInterface {
 public:
   StaleHost( IpVniPair ipVniPair, Neroli::EthAddr mac, Vxlan::VniOrNone serviceVni, Lum::String policyName )
      : ipVniPair_( ipVniPair ), mac_( mac ), serviceVni_( serviceVni ), policyName_( std::move( policyName ) ) {}

   IpVniPair const & ipVniPair() const { return ipVniPair_; } // its original VNI
   Neroli::EthAddr mac() const { return mac_; }
   Vxlan::VniOrNone serviceVni() const { return serviceVni_; }
   Lum::String const & policyName() const { return policyName_; }

   std::uint16_t thresholdCount() const { return thresholdCount_; } // rounds
   void thresholdCountIs( std::uint16_t count ) { thresholdCount_ = count; }
   void thresholdCountInc( std::uint16_t step ) {
      thresholdCountIs( static_cast< std::uint16_t >( thresholdCount_ + step ) );
   }

 private:
   IpVniPair ipVniPair_;
   Neroli::EthAddr mac_;
   Vxlan::VniOrNone serviceVni_;
   Lum::String policyName_;
   std::uint16_t thresholdCount_ = 0;
};

/// All VNIs, and the ageing of hosts. A redirected host's traffic runs on its service VNI: a MAC that is missing from
/// that table for `staleHostThreshold` rounds in a row gets no traffic through the service device, and loses its
/// location.
class VniFdbStatusDirSm : public Lum::PtrInterface {
   LUM_MACHINE( VniFdbStatusDirSm );
   LUM_ARG_INPUT( vniDir, Lum::Dir const, LUM_ON( entityPtr, handleVniDir ) );
   LUM_ARG_INPUT( policyHelperInfo, PolicyHelperInfo, LUM_ON_MEMBERSHIP( ipToPolicy, handleIpToPolicy ),
                  LUM_ON_MEMBER( ipToPolicy, policy, handlePolicy ) );
   LUM_ARG( config, Lum::Ptr< Config const > );
   LUM_NO_END;
   LUM_SMS( l2StatusSm, Vxlan::Vni, L2StatusSm );
   LUM_MEMO( staleHost, IpVniPair, Lum::Ptr< StaleHost > );
   LUM_TASK( task, handleStaleHosts );
   LUM_INITIALIZED;

   void handleInitialized();
   void handleVniDir();
   /// One VNI, named in decimal. Raises RangeException for a number that is no VNI.
   void handleVniDir( Lum::Name name );
   void handleStaleHosts();
   /// A host came to the blackboard: the VNIs whose tables hold its address are told. One that leaves is told to all.
   void handleIpToPolicy( Lum::Ptr< HostInfo > host );
   /// The same for a host that some group, or none any more, controls.
   void handlePolicy( Lum::Ptr< HostInfo > host );

   /// The machine of a VNI has come, or goes.
   void vniComes( L2StatusSm & vni );
   void vniGoes( L2StatusSm const & vni );
   /// Whether the VNI's table holds the address.
   void holdsIs( L2StatusSm const & vni, Neroli::IpGenAddr ip, bool holds );
   /// The hosts that a restart placed in the VNI.
   std::vector< Lum::Ptr< HostInfo > > restoredHosts( Vxlan::Vni vni ) const;

 private:
   using Orders = boost::container::small_vector< std::uint64_t, 1 >; // an address is in one table, as a rule
   using Tell = void ( L2StatusSm::* )( Lum::Ptr< HostInfo > );

   void tell( std::uint64_t order, Lum::Ptr< HostInfo > const & host, Tell what, char const * watched );
   Orders everyVni() const;
   Orders holdersOf( Neroli::IpGenAddr ip ) const;
   Vxlan::VniOrNone serviceVniOf( Lum::String const & policy, Vxlan::VniOrNone originalVni ) const;
   Lum::Ptr< Loomis::VniFdbStatusV2 const > tablesOf( Vxlan::VniOrNone vni ) const;
   void age( StaleHost & stale );
   void watchIfUnseen( HostInfo const & info );

   std::uint64_t newestOrder_ = 0;
   std::map< std::uint64_t, L2StatusSm * > vniByOrder_;
   // Whose tables hold an address, so that a host costs nothing to the VNIs that do not know it.
   Lum::HashMap2018< Neroli::IpGenAddr, Orders > holders_;
   // While the VNIs of the start are made: so that not each of them looks at all hosts.
   bool starting_ = false;
   std::map< Vxlan::VniOrNone, std::vector< Lum::Ptr< HostInfo > > > hostsOf_;
};

inline constexpr Lum::Factory< VniFdbStatusDirSm > vniFdbStatusDirSmFactory;

} // namespace Kiv
