#pragma once

#include "platform/harbor/HubstoreService.h"
#include "platform/oxbow/CAgent.h"

namespace Oxbow {

/// An agent with services over the hubstore. The order of its start:
///
///    doPreInit, doInit            the host
///    doMountsComplete             the first mounts are in
///    doServiceAgentInit           directly behind it: the agent declares its services
///    doControllerMounts           called by the agent itself, when a service's mount group stands
///    doControllerMountsComplete   the mounts whose mounter is `controllerMounter()` are in
class ServiceAgent : public CAgent {
 public:
   using CAgent::CAgent;
   ~ServiceAgent() override;

   Lum::Ptr< Quarry::EntityManager > const & hubstoreEntityManager() const { return hubstoreEntityManager_; }
   void hubstoreEntityManagerIs( Lum::Ptr< Quarry::EntityManager > manager ) {
      hubstoreEntityManager_ = std::move( manager );
   }
   Quarry::Mounter * controllerMounter() { return &controllerMounter_; }

   /// The services by name.
   using Services = std::map< Lum::Name, Lum::Ptr< Harbor::HubstoreService > >;
   Services const & hubstoreService() const { return hubstoreService_; }
   /// The service of that name, null when there is none.
   Lum::Ptr< Harbor::HubstoreService > hubstoreService( Lum::Name const & name ) const;
   /// The service of that name, made over these databases if it is not there.
   Lum::Ptr< Harbor::HubstoreService > hubstoreServiceIs( Lum::Name const & name,
                                                          Lum::Ptr< Quarry::EntityManager > quarryEntityManager,
                                                          Lum::Ptr< Quarry::EntityManager > hubstoreEntityManager );

   void doPreInit() override;
   void handleFlushEntityLogComplete() override {}
   virtual void doControllerMounts() {}
   virtual void doControllerMountsComplete( Quarry::MountStatus, Lum::Ptr< Quarry::EntityManager > const & ) {}
   virtual void doServiceAgentInit() {}
   /// Lets the services go, and with them all that was published. The destructor does so, too.
   virtual void doServiceAgentCleanup();

 protected:
   void handleFirstMountsComplete() override { doServiceAgentInit(); }

 private:
   class ControllerMounter final : public Quarry::Mounter {
    public:
      explicit ControllerMounter( ServiceAgent * agent ) : agent_( agent ) {}
      void doMountsComplete( Quarry::MountStatus mountStatus,
                             Lum::Ptr< Quarry::EntityManager > const & entityManager ) override {
         agent_->doControllerMountsComplete( mountStatus, entityManager );
      }

    private:
      ServiceAgent * agent_;
   };

   Lum::Ptr< Quarry::EntityManager > hubstoreEntityManager_;
   ControllerMounter controllerMounter_{ this };
   Services hubstoreService_;
};

} // namespace Oxbow
