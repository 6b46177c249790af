// How many hosts of one VNI are active, and how many stand behind each switch.
#pragma once

#include "platform/lum/Collection.h"
#include "platform/neroli/IpGenAddr.h"
#include "records/kiv/PolicyRunningInfo.h"

namespace Kiv {

/// Kept and not walked, since each event of a host asks. Whoever changes what counts of a host says so.
class HostCounts {
 public:
   /// What counts of the host now; null: nothing, it is not held any more.
   void count( Neroli::IpGenAddr ip, HostRunningInfo const * host );

   /// Hosts whose state is not policyPending.
   std::uint64_t active() const { return active_; }
   /// Hosts of which the switch is a member of the pair. Their state does not count.
   std::uint64_t behind( SwitchId const & switchId ) const;

 private:
   struct Counted {
      bool active = false;
      SwitchPair place;
   };
   void move( SwitchId const & switchId, int by );

   Lum::HashMap2018< Neroli::IpGenAddr, Counted > counted_;
   Lum::HashMap2018< SwitchId, std::uint64_t > behind_;
   std::uint64_t active_ = 0;
};

} // namespace Kiv
