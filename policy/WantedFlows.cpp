#include "policy/WantedFlows.h"

#include <algorithm>

namespace Kiv {

namespace {

using Ports = std::map< Lum::Name, std::set< Lum::String > >; // of one switch: by side, the interfaces

/// A host that has a place, and what its flows need.
struct PlacedHost {
   Neroli::IpGenAddr ip;
   Neroli::EthAddr mac;
   SwitchPair place;
   bool diverted;   // its flows are out
   bool programmed; // some switch has its ingress flow
   bool certain;    // that this is its place
};

/// What the service VTEPs have said of the service flows of a VNI.
enum class Convergence {
   converged, ///< all have programmed both
   open,      ///< one has not reported yet, and none has said no
   unsaid,    ///< one reports the fragment without them: not yet, or not any more
   refused,   ///< one has said no
};

V1::PolicyFlowInfo flowOf( Lum::String name, Vxlan::VniOrNone match, Vxlan::VniOrNone rewrite, V1::InterceptPoint at,
                           char const * serviceIntf, Neroli::EthAddr source = {} ) {
   V1::PolicyFlowInfo flow;
   flow.flowName = std::move( name );
   flow.matchSMac = source;
   flow.matchVni = match;
   flow.rewriteVni = rewrite;
   flow.interceptAt = at;
   flow.serviceIntf = serviceIntf;
   return flow;
}

/// One original VNI of one group that may act.
class VniOfGroup {
 public:
   VniOfGroup( Standing const & standing, ServicePolicy const & group, std::map< Lum::Name, Ports > const & ports,
               Vxlan::VniOrNone originalVni, Vxlan::VniOrNone serviceVni )
      : standing_( standing ), group_( group ), ports_( ports ), originalVni_( originalVni ), serviceVni_( serviceVni ),
        name_( Lum::textOf( group.name(), "-", originalVni.value() ) ), hosts_( placedHosts() ),
        convergence_( convergence() ) {}

   void addTo( WantedFragments & wanted ) const {
      for( auto const & [ key, ports ] : ports_ ) wanted[ key ][ name_ ] = onServiceVtep( key, ports );
      for( auto const & key : insideVteps() ) {
         if( !ports_.contains( key ) ) wanted[ key ][ name_ ] = onInsideVtep( key );
      }
   }

 private:
   std::vector< PlacedHost > placedHosts() const {
      std::vector< PlacedHost > hosts;
      auto const running = standing_.policyRunningInfoCol->policyRunningInfo( group_.name() );
      for( auto const & [ key, flow ] : group_.interceptFlow() ) {
         auto const ip = key.address();
         auto const seen = standing_.policyHelperInfo->ipToPolicy( ip );
         auto const held = running ? running->hostInfo( ip ) : nullptr;
         if( !seen || !held || seen->policy() != group_.name() || seen->vni() != originalVni_ ) continue;
         // The fabric sees a diverted host where its traffic runs, on a service VTEP: it stays where it was placed.
         auto const placed = held->insideVtepSwitchPair();
         auto const place = placed.members() > 0 ? placed : seen->switchPair();
         if( seen->switchPair().members() == 0 || seen->mac().isUnset() ) continue;
         // A group that took the control over from another one follows the host from its next change on.
         bool const followed = placed.members() > 0 && held->originalVni() == originalVni_;
         hosts.push_back( { ip, seen->mac(), place, held->state() != PolicyRunningState::policyPending,
                            held->insideVtepIngressFlowPresent(), followed } );
      }
      return hosts;
   }

   std::set< Lum::Name > insideVteps() const {
      std::set< Lum::Name > keys;
      for( auto const & host : hosts_ ) {
         for( auto const & member : { host.place.first(), host.place.second() } ) {
            if( !member.empty() ) keys.insert( member.systemId().stringValue() );
         }
      }
      return keys;
   }

   // A report counts for the service VNI that it echoes; one that echoes none counts for any.
   Convergence convergence() const {
      auto all = Convergence::converged;
      for( auto const & [ key, ports ] : ports_ ) {
         auto const reports = Lum::entryOf< V1::KivPolicyFragmentStatus const >( standing_.kivPolicyStatusDir, key );
         auto const report = reports ? reports->policyFragment( name_ ) : nullptr;
         all = std::max( all, convergenceOf( report ) );
      }
      return all;
   }

   Convergence convergenceOf( Lum::Ptr< V1::ServicePolicyFragmentStatus const > const & report ) const {
      if( !report || report->originalVni() != originalVni_ ) return Convergence::open;
      bool const counts = report->serviceVni().isNone() || report->serviceVni() == serviceVni_;
      auto const ingress = report->flowStatus( "ServiceVtepIngress" );
      auto const egress = report->flowStatus( "ServiceVtepEgress" );
      constexpr auto programmed = V1::PolicyFlowStatus::programmed;
      if( ingress.status == programmed && egress.status == programmed )
         return counts ? Convergence::converged : Convergence::open;
      return !ingress && !egress ? Convergence::unsaid : Convergence::refused;
   }

   bool mustDivert() const { return convergence_ == Convergence::converged; }
   bool mayDivert() const {
      return convergence_ != Convergence::refused || standing_.kivAgentConfig->retainInterceptFlows();
   }
   bool anyDiverted() const {
      return std::any_of( hosts_.begin(), hosts_.end(), []( auto const & host ) { return host.diverted; } );
   }
   // The last host's end or the quiet rounds may have taken the service flows: the latter from a VNI that diverts hosts
   // none of whose own flows is programmed, until the switches' answer ends its convergence.
   bool idle() const {
      bool const mayBeQuiet =
         convergence_ != Convergence::refused && anyDiverted()
         && std::none_of( hosts_.begin(), hosts_.end(), []( auto const & host ) { return host.programmed; } );
      return mayBeQuiet || convergence_ == Convergence::unsaid
             || std::none_of( hosts_.begin(), hosts_.end(), []( auto & host ) { return host.certain; } );
   }

   WantedFragment onServiceVtep( Lum::Name const & key, Ports const & ports ) const {
      WantedFragment fragment;
      fragment.least.serviceIntfSet = ports;
      if( !idle() ) addServiceFlows( fragment.least );
      if( mustDivert() ) addHosts( fragment.least, key, true, false );
      fragment.most.serviceIntfSet = ports;
      addServiceFlows( fragment.most );
      if( mayDivert() )
         addHosts( fragment.most, key, true, true );
      else
         addCookies( fragment.most, key, true );
      return fragment;
   }

   WantedFragment onInsideVtep( Lum::Name const & key ) const {
      WantedFragment fragment;
      addVnis( fragment.most );
      if( mayDivert() )
         addHosts( fragment.most, key, false, true );
      else
         addCookies( fragment.most, key, true );
      if( !mustDivert() ) {
         fragment.optional = true;
         return fragment;
      }
      fragment.optional = !addHosts( fragment.least, key, false, false );
      if( !fragment.optional ) addVnis( fragment.least );
      return fragment;
   }

   void addVnis( FragmentContent & content ) const {
      content.originalVni = originalVni_;
      content.serviceVni = serviceVni_;
   }

   void addServiceFlows( FragmentContent & content ) const {
      addVnis( content );
      content.isServiceVtep = true;
      add( content,
           flowOf( "ServiceVtepIngress", originalVni_, serviceVni_, V1::InterceptPoint::interceptAtIngress, "near" ) );
      add( content,
           flowOf( "ServiceVtepEgress", serviceVni_, originalVni_, V1::InterceptPoint::interceptAtEgress, "near" ) );
   }

   /// The flows of the hosts: of all on a service VTEP, else of those whose place `key` is. Returns whether any.
   bool addHosts( FragmentContent & content, Lum::Name const & key, bool serviceVtep, bool uncertain ) const {
      bool any = false;
      for( auto const & host : hosts_ ) {
         if( !host.certain && !uncertain ) continue;
         if( !serviceVtep && !isAt( host, key ) ) continue;
         any = true;
         add( content, flowOf( Lum::textOf( "InsideVtepIngress-", host.ip ), originalVni_, serviceVni_,
                               V1::InterceptPoint::interceptAtIngress, "", host.mac ) );
      }
      addCookies( content, key, uncertain );
      if( any ) {
         add( content,
              flowOf( "InsideVtepEgress", serviceVni_, originalVni_, V1::InterceptPoint::interceptAtEgress, "" ) );
      }
      return any;
   }

   void addCookies( FragmentContent & content, Lum::Name const & key, bool uncertain ) const {
      for( auto const & host : hosts_ ) {
         if( isAt( host, key ) && ( host.certain || uncertain ) ) content.interceptInfo[ host.ip ] = host.mac;
      }
   }

   static bool isAt( PlacedHost const & host, Lum::Name const & key ) {
      auto const is = [ & ]( SwitchId const & member ) {
         return !member.empty() && member.systemId().stringValue() == key;
      };
      return is( host.place.first() ) || is( host.place.second() );
   }

   static void add( FragmentContent & content, V1::PolicyFlowInfo const & flow ) {
      content.flow[ flow.flowName ] = flow;
   }

   Standing const & standing_;
   ServicePolicy const & group_;
   std::map< Lum::Name, Ports > const & ports_;
   Vxlan::VniOrNone originalVni_;
   Vxlan::VniOrNone serviceVni_;
   Lum::String name_;
   std::vector< PlacedHost > hosts_;
   Convergence convergence_;
};

/// The ports of a group's two sets by switch.
std::map< Lum::Name, Ports > portsOf( Standing const & standing, ServicePolicy const & group ) {
   std::map< Lum::Name, Ports > ports;
   for( auto const & [ side, uuid ] : { std::pair( "near", group.nearIntfUuid() ), { "far", group.farIntfUuid() } } ) {
      auto const set = standing.serviceIntfConfig->intfSet( uuid );
      if( !set ) continue;
      for( auto const & [ port, settings ] : set->intf() ) {
         if( settings != ServiceInterface( port ) )
            ports[ port.switchId().systemId().stringValue() ][ side ].insert( port.intf() );
      }
   }
   return ports;
}

/// Both sets are there, differ and have ports, and no other group owns one.
bool mayAct( Standing const & standing, ServicePolicy const & group ) {
   auto const usable = [ & ]( Lum::String const & uuid ) {
      auto const set = uuid.empty() ? nullptr : standing.serviceIntfConfig->intfSet( uuid );
      auto const owner = standing.policyHelperInfo->intfUuidToOwnerPolicy( uuid );
      return set && !set->intf().empty() && ( owner.empty() || owner == group.name() );
   };
   return group.nearIntfUuid() != group.farIntfUuid() && usable( group.nearIntfUuid() )
          && usable( group.farIntfUuid() );
}

FragmentContent contentOf( V1::ServicePolicyFragment const & fragment ) {
   FragmentContent content;
   content.originalVni = fragment.originalVni();
   content.serviceVni = fragment.serviceVni();
   for( auto const & [ name, flow ] : fragment.flow() ) content.flow[ name ] = flow;
   for( auto const & [ side, set ] : fragment.serviceIntfSet() ) {
      for( auto const & [ intf, member ] : set->intf() ) content.serviceIntfSet[ side ].insert( intf );
   }
   if( auto const cookie = fragment.grCookie() ) {
      content.isServiceVtep = cookie->isServiceVtep();
      for( auto const & [ ip, host ] : cookie->interceptInfo() ) content.interceptInfo[ ip ] = host.mac;
   }
   return content;
}

/// Says where what is held is not between the bounds.
class Comparison {
 public:
   Comparison( Lum::Name const & key, Lum::String const & name, std::vector< std::string > & lines )
      : where_( Lum::textOf( key, " ", name, ": " ) ), lines_( lines ) {}

   void compare( FragmentContent const & held, WantedFragment const & wanted ) {
      auto const & [ least, most, optional ] = wanted;
      scalar( "originalVni", held.originalVni, least.originalVni, most.originalVni );
      scalar( "serviceVni", held.serviceVni, least.serviceVni, most.serviceVni );
      scalar( "isServiceVtep", held.isServiceVtep, least.isServiceVtep, most.isServiceVtep );
      members( "", held.flow, least.flow, most.flow );
      members( "ports of ", held.serviceIntfSet, least.serviceIntfSet, most.serviceIntfSet );
      members( "cookie of ", held.interceptInfo, least.interceptInfo, most.interceptInfo );
   }

   void say( std::string const & what ) { lines_.push_back( where_ + what ); }

 private:
   template< class V >
   void scalar( char const * name, V const & held, V const & least, V const & most ) {
      if( held != least && held != most ) say( Lum::textOf( name, " is ", held ) );
   }

   template< class Map >
   void members( char const * what, Map const & held, Map const & least, Map const & most ) {
      for( auto const & [ key, value ] : held ) {
         auto const wanted = most.find( key );
         if( wanted == most.end() ) {
            say( Lum::textOf( what, key, " should not be there" ) );
         } else if( wanted->second != value ) {
            say( Lum::textOf( what, key, " is not as it should be" ) );
         }
      }
      for( auto const & [ key, value ] : least ) {
         if( !held.contains( key ) ) say( Lum::textOf( what, key, " is missing" ) );
      }
   }

   std::string where_;
   std::vector< std::string > & lines_;
};

} // namespace

WantedFragments wantedFlows( Standing const & standing ) {
   WantedFragments wanted;
   for( auto const & [ name, group ] : standing.servicePolicyConfig->servicePolicy() ) {
      auto const grants = standing.policyHelperInfo->policyInfo( name );
      if( !grants || !mayAct( standing, *group ) ) continue;
      auto const ports = portsOf( standing, *group );
      for( auto const & [ originalVni, serviceVni ] : grants->originalToServiceVni() ) {
         if( serviceVni.isNone() ) continue;
         VniOfGroup( standing, *group, ports, originalVni, serviceVni ).addTo( wanted );
      }
   }
   return wanted;
}

std::vector< std::string > discrepancies( WantedFragments const & wanted, Lum::Dir const & policyPublishBaseDir ) {
   std::vector< std::string > lines;
   WantedFragments missing = wanted;
   for( auto const & [ key, entity ] : policyPublishBaseDir.entityPtr() ) {
      auto const published = Lum::narrow< V1::KivPolicyFragment const >( entity );
      if( !published ) continue;
      for( auto const & [ name, fragment ] : published->policyFragment() ) {
         Comparison comparison( key, name, lines );
         auto const sought = missing[ key ].extract( name );
         if( sought.empty() ) {
            comparison.say( "should not be there" );
         } else {
            comparison.compare( contentOf( *fragment ), sought.mapped() );
         }
      }
   }
   for( auto const & [ key, fragments ] : missing ) {
      for( auto const & [ name, fragment ] : fragments ) {
         if( !fragment.optional ) Comparison( key, name, lines ).say( "is missing" );
      }
   }
   std::sort( lines.begin(), lines.end() );
   return lines;
}

} // namespace Kiv
