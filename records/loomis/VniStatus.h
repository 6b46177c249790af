// The records of the fabric's VXLAN control service, as far as the agent reads and writes them.
#pragma once

#include "platform/lum/Entity.h"
#include "platform/lum/ValueRecord.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpAddr.h"
#include "platform/neroli/IpGenAddr.h"
#include "platform/vxlan/Vni.h"
#include "records/Writers.h"

namespace Loomis {

/// An ARP-like binding.
struct IpToMacV2 {
   LUM_VALUE_RECORD( IpToMacV2 );
   LUM_KEY_FIELD( ip, Neroli::IpGenAddr );
   LUM_FIELD( mac, Neroli::EthAddr ); // who answers for the address; all zero: nobody known
};

/// Where a MAC was learnt.
struct MacVtepV2 {
   LUM_VALUE_RECORD( MacVtepV2 );
   LUM_KEY_FIELD( mac, Neroli::EthAddr );
   LUM_FIELD( vtepIp, Neroli::IpAddr );            // the VTEP behind which it is; the any address: not learnt
   LUM_FIELD( moveCount, std::uint32_t );          // the entry with the higher count is believed; 0: it never moved
   LUM_FIELD_DEFAULT( flags, 0x10, std::uint8_t ); // the fabric's own; the agent keeps the default
};

/// The fabric's tables of one VNI, which it writes as it learns; named by the VNI in decimal.
class VniFdbStatusV2 : public Lum::Entity {
   LUM_ENTITY( VniFdbStatusV2, name, Lum::Name );
   RECORD_WRITER( "fabric" );
   LUM_RECORDS( ipToMacTable, Neroli::IpGenAddr, IpToMacV2 ); // the hosts' addresses
   LUM_RECORDS( macVtepTable, Neroli::EthAddr, MacVtepV2 );   // where their MACs are
};

/// Entries for one VNI that outbid those which the fabric has learnt, written by MacMoveSm.
class VniStatusV2 : public Lum::Entity {
   LUM_ENTITY( VniStatusV2, vni, Vxlan::Vni );
   LUM_RECORDS( macVtepTable, Neroli::EthAddr, MacVtepV2 ); // diverted hosts that have moved, at a service VTEP
};

/// Those of all VNIs.
class VniStatusDirV2 : public Lum::Entity {
   LUM_ENTITY( VniStatusDirV2, name, Lum::Name );
   RECORD_WRITER( "agent" );
   LUM_ORDERED_CHILDREN( vniStatusV2, Vxlan::Vni, VniStatusV2 ); // the VNIs in which the agent outbids anything
};

} // namespace Loomis
