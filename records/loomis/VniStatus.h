// The records of the fabric's VXLAN control service, as far as the agent reads and writes them.
#pragma once

#include "platform/lum/Entity.h"
#include "platform/lum/ValueRecord.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpAddr.h"
#include "platform/neroli/IpGenAddr.h"
#include "platform/vxlan/Vni.h"

namespace Loomis {

/// An ARP-like binding.
struct IpToMacV2 {
   LUM_VALUE_RECORD( IpToMacV2 );
   LUM_KEY_FIELD( ip, Neroli::IpGenAddr );
   LUM_FIELD( mac, Neroli::EthAddr );
};

/// Where a MAC was learnt.
struct MacVtepV2 {
   LUM_VALUE_RECORD( MacVtepV2 );
   LUM_KEY_FIELD( mac, Neroli::EthAddr );
   LUM_FIELD( vtepIp, Neroli::IpAddr ); // the any address: not learnt
   LUM_FIELD( moveCount, std::uint32_t );
   LUM_FIELD_DEFAULT( flags, 0x10, std::uint8_t );
};

/// The fabric's tables of one VNI; named by the VNI in decimal.
class VniFdbStatusV2 : public Lum::Entity {
   LUM_ENTITY( VniFdbStatusV2, name, Lum::Name );
   LUM_RECORDS( ipToMacTable, Neroli::IpGenAddr, IpToMacV2 );
   LUM_RECORDS( macVtepTable, Neroli::EthAddr, MacVtepV2 );
};

/// Entries for one VNI that outbid those which the fabric has learnt.
class VniStatusV2 : public Lum::Entity {
   LUM_ENTITY( VniStatusV2, vni, Vxlan::Vni );
   LUM_RECORDS( macVtepTable, Neroli::EthAddr, MacVtepV2 );
};

/// Those of all VNIs.
class VniStatusDirV2 : public Lum::Entity {
   LUM_ENTITY( VniStatusDirV2, name, Lum::Name );
   LUM_ORDERED_CHILDREN( vniStatusV2, Vxlan::Vni, VniStatusV2 );
};

} // namespace Loomis
