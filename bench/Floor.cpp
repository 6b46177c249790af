#include "bench/Floor.h"

#include "blackboard/KivUtils.h"

namespace Bench {

namespace {

using Kiv::V1::InterceptPoint;

Kiv::V1::PolicyFlowInfo flowOf( Lum::String name, Vxlan::VniOrNone match, Vxlan::VniOrNone rewrite,
                                InterceptPoint at ) {
   Kiv::V1::PolicyFlowInfo flow;
   flow.flowName = std::move( name );
   flow.matchVni = match;
   flow.rewriteVni = rewrite;
   flow.interceptAt = at;
   return flow;
}

} // namespace

Floor::Floor( World & world, unsigned firstServiceVni ) : world_( world ) {
   auto const [ hosts, groups, switches, policies, addresses ] = world.extent();
   for( unsigned host = 0; host < hosts; ++host ) {
      hosts_.push_back( { World::ip( host ), World::mac( host ), world.groupOf( host ), world.switchesOf( host ) } );
   }
   for( unsigned group = 0; group < groups; ++group ) {
      groups_.push_back( { World::fragmentName( group ),
                           World::near( group ),
                           World::far( group ),
                           World::vni( group ),
                           Vxlan::VniOrNone( firstServiceVni + group ),
                           {} } );
      groups_.back().fragment.resize( switches );
   }
   for( unsigned place = 0; place < switches; ++place ) switchNames_.push_back( World::switchName( place ) );
   published_.resize( switches );
}

void Floor::coldStart( Meter & meter ) {
   meter.measure( world_.extent().hosts, [ & ] { publishServiceFlows(); } );
   auto const ofServiceFlows = world_.reports();
   meter.measure( 0, [ & ] {
      world_.write( ofServiceFlows );
      publishHosts();
   } );
   auto const ofHosts = world_.reports();
   meter.measure( 0, [ & ] { world_.write( ofHosts ); } );
   LUM_ASSERT( world_.allDiverted() );
}

void Floor::publishServiceFlows() {
   for( auto & group : groups_ ) {
      for( unsigned place = 0; place < World::serviceVteps; ++place ) {
         auto & fragment = fragmentIs( group, place );
         bool const isNear = place < World::serviceVteps / 2;
         fragment.serviceIntfSetIs( isNear ? "near" : "far" )->intfIs( isNear ? group.near : group.far, true );
         auto ingress =
            flowOf( "ServiceVtepIngress", group.originalVni, group.serviceVni, InterceptPoint::interceptAtIngress );
         auto egress =
            flowOf( "ServiceVtepEgress", group.serviceVni, group.originalVni, InterceptPoint::interceptAtEgress );
         ingress.serviceIntf = egress.serviceIntf = "near";
         fragment.flowIs( ingress );
         fragment.flowIs( egress );
         fragment.grCookie()->isServiceVtepIs( true );
      }
   }
}

void Floor::publishHosts() {
   for( auto const & host : hosts_ ) {
      auto & group = groups_[ host.group ];
      for( unsigned place = 0; place < World::serviceVteps; ++place ) {
         addHostFlows( *group.fragment[ place ], group, host );
      }
      for( unsigned const place : host.switches ) publishAt( group, host, place );
   }
}

void Floor::move( unsigned number ) {
   world_.move( number );
   auto & host = hosts_[ number ];
   auto & group = groups_[ host.group ];
   for( unsigned const place : host.switches ) {
      auto & fragment = group.fragment[ place ];
      fragment->flowDel( Kiv::insideIngressFlowName( host.ip ) );
      fragment->grCookie()->interceptInfoDel( host.ip );
      if( !fragment->grCookie()->interceptInfo().empty() ) continue;
      published_[ place ]->policyFragmentDel( group.fragmentName );
      fragment = nullptr;
   }
   host.switches = world_.switchesOf( number );
   for( unsigned const place : host.switches ) publishAt( group, host, place );
}

Kiv::V1::ServicePolicyFragment & Floor::fragmentIs( Group & group, unsigned place ) {
   auto & fragment = group.fragment[ place ];
   if( fragment ) return *fragment;
   auto & published = published_[ place ];
   if( !published ) {
      published = world_.published()->createEntity< Kiv::V1::KivPolicyFragment >( switchNames_[ place ] );
   }
   fragment = published->policyFragmentIs( group.fragmentName );
   fragment->grCookieIs( "GrCookie" );
   fragment->originalVniIs( group.originalVni );
   fragment->serviceVniIs( group.serviceVni );
   return *fragment;
}

void Floor::addHostFlows( Kiv::V1::ServicePolicyFragment & fragment, Group const & group, Host const & host ) {
   auto ingress = flowOf( Kiv::insideIngressFlowName( host.ip ), group.originalVni, group.serviceVni,
                          InterceptPoint::interceptAtIngress );
   ingress.matchSMac = host.mac;
   fragment.flowIs( ingress );
   fragment.flowIs(
      flowOf( "InsideVtepEgress", group.serviceVni, group.originalVni, InterceptPoint::interceptAtEgress ) );
}

void Floor::publishAt( Group & group, Host const & host, unsigned place ) {
   auto & fragment = fragmentIs( group, place );
   addHostFlows( fragment, group, host );
   Kiv::V1::InterceptInfoCookie cookie;
   cookie.interceptIp = host.ip;
   cookie.mac = host.mac;
   fragment.grCookie()->interceptInfoIs( cookie );
}

} // namespace Bench
