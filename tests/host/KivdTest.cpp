// The program: what it loads, what it says where, and how it ends.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace {

/// Runs `script` in a bash where $kivd is the program, which stands above the test; all output, and how it ended. One
/// that hangs is killed.
std::pair< std::string, int > run( std::string const & script ) {
   auto const kivd = std::filesystem::read_symlink( "/proc/self/exe" ).parent_path().parent_path() / "kivd";
   setenv( "kivd", kivd.c_str(), 1 );
   setenv( "script", script.c_str(), 1 );
   auto * const pipe = popen( "exec timeout -s KILL 60 bash -c \"$script\" 2>&1", "r" );
   std::string output;
   std::array< char, 4096 > bytes;
   for( std::size_t size = 1; size > 0; output.append( bytes.data(), size ) )
      size = std::fread( bytes.data(), 1, bytes.size(), pipe );
   int const ended = pclose( pipe );
   return { output, WIFEXITED( ended ) ? WEXITSTATUS( ended ) : -1 };
}

/// A script in which `ask` sends a line to a kivd, `answer` reads one into $line, and $pid is the process.
std::string talk( std::string const & script, std::string const & clock = "virtual" ) {
   return "coproc exec $kivd --stdio --clock " + clock + "; pid=$COPROC_PID; "
          + R"(ask() { echo "$1" >&${COPROC[1]}; }; answer() { read -r line <&${COPROC[0]}; }; )" + script;
}

} // namespace

TEST( Kivd, EndsWithAStatus ) {
   auto const folder = testing::TempDir() + "kivd-";
   std::ofstream( folder + "good.json" ) << R"({"state": {"kiv": {"config": {"vniRange": "100-200"}}}})";
   std::ofstream( folder + "bad.json" ) << R"({"state": {"kiv": {"config": {"enabled": 1}}}})";
   std::string const serve = "$kivd --stdio --clock virtual ";
   struct {
      std::string script;
      int status;
      std::string said; // behind status 2, in part
   } const cases[] = {
      { "printf '\\r\\n \\n{\"log\":true}' | " + serve, 0, "{\"ok\":true,\"log\":[]}\n" },
      { "echo '{\"quit\":true}\n{}' | " + serve, 0, "{\"ok\":true}\n" },
      { "echo '{\"quit\":true}' | ( " + serve + "; grep flags: /proc/self/fdinfo/0 )", 0,
        "{\"ok\":true}\nflags:\t00\n" }, // the input that others read, too, is as it was
      { "echo '{\"get\":\"/state/kiv/config\"}\n{\"get\":\"/agent\"}' | " + serve + "--no-start --load " + folder
           + "good.json --load " + folder + "good.json",
        0, "{\"ok\":true,\"value\":{\"vniRange\":\"100-200\"}}\n{\"ok\":true,\"value\":{}}\n" },
      { serve + "--load " + folder + "good.json --load " + folder + "bad.json", 2,
        "bad.json: /state/kiv/config/enabled: true or false is expected" },
      { serve + "--load /usr", 2, "kivd: /usr: Is a directory" },
      { serve + "--load " + folder + "absent", 2, "absent: No such file or directory" },
      { serve + "--load", 2, "--load" },
      { serve + "<&-", 2, "kivd: standard input is closed" },
      { serve + ">&-", 2, "kivd: standard output is closed" },
      { serve + "</usr", 1, "kivd: standard input: Is a directory\n" },
      { "$kivd --stdio --clock sundial", 2, "sundial not in {virtual,real}" },
      { serve + "--daemon", 2, "--no-start" },
      { "$kivd --version", 0, "kivd 1.0\n" },
      { "set -o pipefail; $kivd --help | grep -o '^  watch     from now on'", 0, "  watch     from now on\n" },
      { talk( "exec {COPROC[0]}<&-; ask {}; wait $pid" ), 1, "kivd: standard output: Broken pipe\n" },
   };
   for( auto const & [ script, status, said ] : cases ) {
      auto const [ output, ended ] = run( script );
      EXPECT_EQ( ended, status ) << script;
      EXPECT_TRUE( status < 2 ? output == said : output.find( said ) != output.npos ) << script << "\n" << output;
   }
}

TEST( Kivd, EndsWellAtASignal ) {
   std::string const moment = "ask {}; answer; ";
   std::string const fill =
      R"(ask '{"patch": {"state": {"kiv": {"servicePolicyConfig": {"'$(printf %0200000d 0)'": {}}}}}}';
      answer; ask '{"get": ""}'; read -r -N 1 byte <&${COPROC[0]}; )";
   struct {
      char const * story;
      std::string script;
   } const cases[] = {
      { "between requests", talk( moment + "kill -INT $pid" ) },
      { "on the real clock", talk( moment + "kill -TERM $pid", "real" ) },
      { "after a hangup, which ends nothing", talk( moment + "kill -HUP $pid; " + moment + "kill -TERM $pid" ) },
      { "while nobody reads an answer that is under way", talk( fill + "kill -TERM $pid" ) },
      { "while a document does not come",
        "rm -f F; mkfifo F; $kivd --stdio --load F & pid=$!; exec 3>F; kill -INT $pid" },
   };
   for( auto const & [ story, script ] : cases ) {
      auto const [ output, status ] =
         run( "cd \"$(mktemp -d)\"; " + script + "; wait $pid; status=$?; rm -rf \"$PWD\"; exit $status" );
      EXPECT_EQ( status, 0 ) << story << "\n" << output;
   }
}

TEST( Kivd, ALineThatIsTooLongIsRefusedAndTheNextOneServed ) {
   std::string const log = R"({"log":true,"note":""})";
   auto const longest = std::to_string( ( 64 << 20 ) - log.size() );
   auto const [ output, status ] =
      run( "export LC_ALL=C; line() { printf '{\"log\":true,\"note\":\"'; head -c $1 /dev/zero "
           "| tr '\\0' x; echo '\"}'; }; { line "
           + longest + "; line $(( " + longest + " + 1 )); line 1; } | $kivd --stdio" );
   EXPECT_EQ( status, 0 );
   std::string const served = "{\"ok\":true,\"log\":[]}\n";
   EXPECT_EQ( output, served + R"({"error":{"at":"","reason":"a line holds at most 64 MiB"}})" + "\n" + served );
}
