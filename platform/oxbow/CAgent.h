// What an agent is to the program that hosts it. The host makes one through the plug-in's factory, gives it its
// surroundings and starts it:
//
//    auto const agent = agentFactory( "Kiv" );
//    agent->taskSchedulerIs( scheduler );
//    agent->entityManagerIs( stateDatabase );
//    agent->hubstoreEntityManagerIs( hubstore );
//    agent->doPreInit();
//    agent->doInit();
//
// From there on everything happens on the loop of the scheduler.
#pragma once

#include "platform/lum/Dir.h"
#include "platform/lum/Trace.h"
#include "platform/oxlet/AgentCommandRequestDirSm.h"
#include "platform/quarry/EntityManager.h"

namespace Oxbow {

/// The base of an agent. Its virtual operations are what a host may call; a host that has no stages, pings or logged
/// entities to speak of leaves the calls out.
class CAgent : public Lum::Entity, public Quarry::Mounter {
   LUM_ENTITY( CAgent, name, Lum::Name );

   Lum::Ptr< Quarry::EntityManager > const & entityManager() const { return entityManager_; }
   Lum::Ptr< Moth::TaskScheduler > const & taskScheduler() const { return taskScheduler_; }
   void taskSchedulerIs( Lum::Ptr< Moth::TaskScheduler > scheduler ) { taskScheduler_ = std::move( scheduler ); }
   /// The cell of the controller that the agent runs in; empty where there is only one.
   Lum::String const & cell() const { return cell_; }
   void cellIs( Lum::String cell ) { cell_ = std::move( cell ); }
   /// The operator commands.
   Lum::Ptr< Oxlet::AgentCommandRequestDirSm > const & agentCommandRequestDirSm() const {
      return agentCommandRequestDirSm_;
   }

   /// Calls doMountsComplete, and behind the first group of the agent handleFirstMountsComplete.
   void doQuarryMountsComplete( Quarry::MountStatus mountStatus,
                                Lum::Ptr< Quarry::EntityManager > const & entityManager ) override;
   virtual void doUpdateWarm() {}
   virtual Lum::TraceHandle const & getDefaultTrace() const;
   /// The agent has its surroundings; one that is missing is a programming fault.
   virtual void doPreInit();
   /// Begins the agent's own work: it declares its first mounts.
   virtual void doInit() {}
   virtual void handleStageProgressionComplete( Lum::String /*progression*/, Lum::Name /*instance*/ ) {}
   virtual void doStage( Lum::String /*progression*/, Lum::String /*stage*/ ) {}
   virtual void doStageForInstance( Lum::String /*progression*/, Lum::String /*stage*/, Lum::Name /*instance*/ ) {}
   virtual void handleStageInstance( Lum::Name /*instance*/ ) {}
   virtual bool agentPingResponderEnabled() { return false; }
   virtual bool defaultSchedStatsEnabled() { return false; }
   virtual bool agentSyncConfigEnabled() { return false; }
   virtual void handleFlushEntityLogComplete() = 0;
   virtual void entityManagerIs( Lum::Ptr< Quarry::EntityManager > manager ) { entityManager_ = std::move( manager ); }

 protected:
   /// The first mounts are in and have been looked at.
   virtual void handleFirstMountsComplete() = 0;

 private:
   Lum::Ptr< Quarry::EntityManager > entityManager_;
   Lum::Ptr< Moth::TaskScheduler > taskScheduler_;
   Lum::String cell_;
   Lum::Ptr< Oxlet::AgentCommandRequestDirSm > const agentCommandRequestDirSm_{ new Oxlet::AgentCommandRequestDirSm };
   bool firstMountsComplete_ = false;
};

} // namespace Oxbow
