// The program: what it loads, what it says where, and how it ends.
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace {

/// Runs `script` in a shell where $kivd is the program, which stands above the test; all output, and how it
/// ended.
std::pair< std::string, int > run( std::string const & script ) {
   auto const kivd = std::filesystem::read_symlink( "/proc/self/exe" ).parent_path().parent_path() / "kivd";
   auto * const pipe = popen( ( "exec 2>&1; kivd='" + kivd.string() + "'; " + script ).c_str(), "r" );
   std::string output;
   std::array< char, 4096 > bytes;
   for( std::size_t size = 1; size > 0; output.append( bytes.data(), size ) )
      size = std::fread( bytes.data(), 1, bytes.size(), pipe );
   int const ended = pclose( pipe );
   return { output, WIFEXITED( ended ) ? WEXITSTATUS( ended ) : -1 };
}

} // namespace

TEST( Kivd, EndsWithAStatus ) {
   auto const folder = testing::TempDir() + "kivd-";
   std::ofstream( folder + "good.json" ) << R"({"state": {"kiv": {"config": {"vniRange": "abc"}}}})";
   std::ofstream( folder + "bad.json" ) << R"({"state": {"kiv": {"config": {"enabled": 1}}}})";
   std::string const serve = "$kivd --stdio --clock virtual ";
   struct {
      std::string script;
      int status;
      std::string said; // in part
   } const cases[] = {
      { "printf '\\r\\n \\n{\"log\":true}' | " + serve, 0, "{\"ok\":true,\"log\":[]}\n" },
      { "echo '{\"quit\":true}\n{}' | " + serve, 0, "{\"ok\":true}\n" },
      { "echo '{\"get\":\"/state/kiv/config\"}\n{\"get\":\"/agent\"}' | " + serve + "--no-start --load " + folder
           + "good.json --load " + folder + "good.json",
        0, "{\"ok\":true,\"value\":{\"vniRange\":\"abc\"}}\n{\"ok\":true,\"value\":{}}\n" },
      { serve + "--load " + folder + "good.json --load " + folder + "bad.json", 2,
        "bad.json: /state/kiv/config/enabled: true or false is expected" },
      { serve + "--load", 2, "--load" },
      { "$kivd --stdio --clock sundial", 2, "sundial" },
      { serve + "--daemon", 2, "--daemon" },
   };
   for( auto const & [ script, status, said ] : cases ) {
      auto const [ output, ended ] = run( script );
      EXPECT_EQ( ended, status ) << script;
      EXPECT_TRUE( status == 0 ? output == said : output.find( said ) != output.npos ) << script << "\n" << output;
   }
}

TEST( Kivd, EndsWellAtASignal ) {
   for( char const * clock : { "real", "virtual" } ) {
      for( char const * signal : { "INT", "TERM" } ) {
         auto const [ output, status ] = run( std::string( "bash -c 'coproc K { exec '$kivd' --stdio --clock " ) + clock
                                              + "; }; pid=$K_PID; echo {} >&${K[1]}; read -r line <&${K[0]}; kill -"
                                              + signal + " $pid; wait $pid'" );
         EXPECT_EQ( status, 0 ) << clock << " " << signal << "\n" << output;
      }
   }
}
