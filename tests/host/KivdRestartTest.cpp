// The process dies at any moment of a story. A new one on the documents of that moment plays the rest, and ends where
// one that never died ends.
#include "story/Kivd.h"
#include "tests/scenery/Json.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <unistd.h>

namespace {

using Scenery::textOf;

// The VNI in use is no longer the first of the pool; the host falls silent, which moves it nowhere; the group goes.
constexpr char const laterRequests[] =
   R"({"patch": {"state": {"kiv": {"config": {"vniRange": "19000-20999"}}}}}
{"patch": {"hub": {"loomis": {"version2": {"vni": {"5010": {"macVtepTable": null}}}}}}}
{"patch": {"state": {"kiv": {"servicePolicyConfig": {"site": null}}}}}
{"advance": 600})";

std::vector< std::string > storyOfRestart() {
   std::stringstream text;
   text << std::ifstream( KIV_EXAMPLES "/restart.jsonl" ).rdbuf() << laterRequests;
   std::vector< std::string > requests;
   for( std::string line; std::getline( text, line ); ) requests.push_back( line );
   return requests;
}

/// A kivd that may be replaced by one on the same documents.
class Mortal {
 public:
   Mortal() { kivd_.emplace( program(), std::vector< std::string >{ "--no-start" } ); }
   ~Mortal() { std::filesystem::remove( document_ ); }

   /// Sends a request; the text of what is published.
   std::string ask( std::string const & request ) {
      auto const answer = kivd_->ask( request );
      EXPECT_TRUE( answer.HasMember( "ok" ) && !answer.HasMember( "raised" ) ) << request;
      if( request.starts_with( R"({"start")" ) ) arguments_.pop_back();
      return textOf( kivd_->get( "/hub/kiv" ) ) + textOf( kivd_->get( "/switch" ) );
   }
   void die() {
      std::ofstream( document_ ) << R"({"state": )" << textOf( kivd_->get( "/state" ) ) << R"(, "hub": )"
                                 << textOf( kivd_->get( "/hub" ) ) << "}";
      kivd_->kill();
      kivd_.emplace( program(), arguments_ );
   }

 private:
   static std::string program() {
      return std::filesystem::read_symlink( "/proc/self/exe" ).parent_path().parent_path() / "kivd";
   }

   std::string const document_ = testing::TempDir() + "kivd-left-" + std::to_string( getpid() );
   std::vector< std::string > arguments_{ "--load", document_, "--no-start" }; // of the next one
   std::optional< Story::Kivd > kivd_;
};

} // namespace

TEST( KivdRestart, AProcessThatIsKilledAnywhereComesToTheSameEnd ) {
   auto const requests = storyOfRestart();
   ASSERT_FALSE( requests.empty() );
   std::vector< std::string > published;
   Mortal never;
   for( auto const & request : requests ) published.push_back( never.ask( request ) );
   for( std::size_t killed = 0; killed < requests.size(); ++killed ) {
      SCOPED_TRACE( "killed before " + requests[ killed ].substr( 0, 200 ) );
      Mortal kivd;
      for( std::size_t i = 0; i < requests.size(); ++i ) {
         if( i == killed ) kivd.die();
         auto const now = kivd.ask( requests[ i ] );
         EXPECT_EQ( now, published[ i ] ) << "after " << requests[ i ];
      }
   }
}
