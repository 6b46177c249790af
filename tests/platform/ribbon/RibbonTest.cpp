// The ring file: what a reader finds after the writer's death, after many rounds, and after damage.
#include "platform/ribbon/Ribbon.h"

#include "platform/ribbon/RibbonReader.h"
#include "platform/ribbon/TwinRibbon.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

TRACE_MODULE( "RibbonTest" );

namespace {

namespace fs = std::filesystem;

class RibbonTest : public testing::Test {
 protected:
   RibbonTest() {
      ::setenv( "RIBBONDIR", directory.c_str(), 1 );
      Lum::clockIs( [] { return 12.5; } );
   }
   ~RibbonTest() override {
      Ribbon::finalize();
      ::unsetenv( "RIBBONDIR" );
      ::unsetenv( "TMPDIR" );
      Lum::clockIs( nullptr );
      fs::remove_all( directory );
   }

   void initialize( std::uint32_t recordLimit = 512 ) {
      Ribbon::SizeSpec sizes;
      sizes.fill( 32 );
      Ribbon::initialize( "t.rb", sizes, nullptr, 0, 24, false, true, recordLimit );
   }

   /// A process that runs `story` with a ring, and is then killed.
   template< class Story >
   pid_t inAnotherProcess( Story const & story ) {
      pid_t const child = ::fork();
      if( child != 0 ) return child;
      ::prctl( PR_SET_PDEATHSIG, SIGKILL );
      initialize();
      story();
      ::raise( SIGKILL );
      ::_exit( 0 );
   }
   template< class Story >
   void inProcessThatDies( Story const & story ) {
      int status = 0;
      ASSERT_GT( ::waitpid( inAnotherProcess( story ), &status, 0 ), 0 );
      ASSERT_TRUE( WIFSIGNALED( status ) );
   }
   /// One that writes until it is killed, and has begun to.
   pid_t writer() {
      pid_t const process = inAnotherProcess( [] {
         for( int number = 0;; ++number ) step( number );
      } );
      for( int i = 0; i < 5000 && bytes().find( " step " ) == std::string::npos; ++i ) ::usleep( 1000 );
      return process;
   }
   static void kill( pid_t process ) {
      ::kill( process, SIGKILL );
      ::waitpid( process, nullptr, 0 );
   }
   static void step( int number ) {
      TRACE6( trace(), " step ", number, " ", std::string( static_cast< std::size_t >( number % 97 ), '+' ) );
   }

   std::string bytes() const {
      std::ifstream in( file, std::ios::binary );
      return { std::istreambuf_iterator< char >( in ), {} };
   }

   fs::path directory = [] {
      std::string name = ( fs::temp_directory_path() / "ribbon-XXXXXX" ).string();
      return fs::path( ::mkdtemp( name.data() ) );
   }();
   fs::path file = directory / "t.rb";
};

TEST_F( RibbonTest, TheReaderMakesTheTextsOfAddresses ) {
   initialize();
   Neroli::IpAddr const vtep( 0xc0000201 );
   auto const ipv6 = *Neroli::IpGenAddr::parse( "2001:db8::1" );
   Neroli::EthAddr const mac( 0x0200aa00000b );
   TRACE6( trace(), vtep, " ", Neroli::IpGenAddr( vtep ), " ", ipv6, " ", Neroli::IpGenAddr(), "|", mac, " ",
           Vxlan::Vni( 5010 ), " ", Vxlan::VniOrNone() );
   auto const contents = Ribbon::readFile( file );
   ASSERT_EQ( contents.messages.size(), 1u );
   EXPECT_EQ( contents.messages[ 0 ].text, "192.0.2.1 192.0.2.1 2001:db8::1 |02:00:aa:00:00:0b 5010 16777216" );
}

TEST_F( RibbonTest, ATurnReadsTheClockOnce ) {
   static double time;
   time = 0;
   Lum::clockIs( [] { return ++time; } );
   initialize();
   double const before = time;
   {
      Ribbon::Turn const turn;
      TRACE6( trace(), "a" );
      { Ribbon::Turn const nested; }
      TRACE6( trace(), "b" );
      TRACE6( trace(), "c" );
   }
   TRACE6( trace(), "d" );
   std::vector< double > times;
   for( auto const & message : Ribbon::readFile( file ).messages ) times.push_back( message.time - before );
   EXPECT_EQ( times, ( std::vector< double >{ 1, 3, 3, 4 } ) );
}

TEST_F( RibbonTest, TheLastLinesOfAKilledProcessCanBeRead ) {
   inProcessThatDies( [] {
      TRACE8( trace(), " vni: ", 5010 );
      TRACE6( trace(), " 100% of ", Lum::String( "dmz-web" ), true, " at ", static_cast< void * >( nullptr ), -1L );
      TRACE7( trace(), " return" );
      TRACE8( trace() );
   } );
   auto const contents = Ribbon::readFile( file );
   EXPECT_TRUE( contents.notes.empty() );
   ASSERT_EQ( contents.messages.size(), 3u ); // a return is for the stream alone
   auto const & entry = contents.messages[ 0 ];
   EXPECT_TRUE( entry.text.ends_with( " vni: 5010" ) && entry.text.find( "TheLastLines" ) != entry.text.npos )
      << entry.text;
   EXPECT_TRUE( entry.file.ends_with( "RibbonTest.cpp" ) );
   EXPECT_EQ( entry.time, 12.5 );
   EXPECT_EQ( entry.level, 8u );
   EXPECT_EQ( contents.messages[ 1 ].text, " 100% of dmz-webTrue at 0x0-1" );
   EXPECT_EQ( contents.messages[ 1 ].level, 6u );
   EXPECT_EQ( contents.messages[ 1 ].line, entry.line + 1 );
   EXPECT_EQ( contents.messages[ 2 ].sequence, 2u );
}

TEST_F( RibbonTest, ManyRoundsKeepTheNewestLinesOfEachLevel ) {
   initialize();
   TRACE8( trace(), " the only entry" );
   constexpr int last = 20000;
   for( int number = 1; number <= last; ++number ) step( number );
   auto const contents = Ribbon::readFile( file );
   EXPECT_TRUE( contents.notes.empty() );
   auto const & messages = contents.messages;
   ASSERT_GT( messages.size(), 300u );
   EXPECT_EQ( messages[ 0 ].level, 8u );
   for( std::size_t i = 1; i < messages.size(); ++i ) {
      auto const number = static_cast< int >( last - messages.size() + 1 + i );
      EXPECT_EQ( messages[ i ].sequence, static_cast< std::uint64_t >( number ) );
      EXPECT_EQ( messages[ i ].text, Lum::textOf( " step ", number, " ", std::string( number % 97, '+' ) ) );
   }
}

TEST_F( RibbonTest, ALiveProcessCanBeReadWhileItWrites ) {
   pid_t const process = writer();
   for( int i = 0; i < 200; ++i ) {
      auto const contents = Ribbon::readFile( file );
      EXPECT_TRUE( contents.notes.empty() );
      for( auto const & message : contents.messages ) EXPECT_TRUE( message.text.starts_with( " step " ) );
   }
   kill( process );
}

TEST_F( RibbonTest, WhatDoesNotFitIsCutAndMarked ) {
   initialize( 64 );
   TRACE6( trace(), std::string( 100, 'x' ), " and ", 7 );
   TRACE6( trace(), 1, " ", 2, " ", 3, " ", 4, " ", 5, " ", 6 );
   auto const messages = Ribbon::readFile( file ).messages;
   ASSERT_EQ( messages.size(), 2u );
   EXPECT_EQ( messages[ 0 ].text, std::string( 38, 'x' ) + "... and ..." );
   EXPECT_EQ( messages[ 1 ].text, "1 2 3 4 5 ..." );
}

TEST_F( RibbonTest, DamageIsRefusedOrCostsOnlyWhatItTouches ) {
   inProcessThatDies( [] {
      for( int number = 0; number < 5000; ++number ) step( number );
      TRACE8( trace(), " entry" );
   } );
   std::string const whole = bytes();
   Ribbon::FileHeader header;
   std::memcpy( &header, whole.data(), sizeof header );
   auto const & ring6 = header.rings[ 6 ];
   constexpr std::size_t refused = SIZE_MAX;
   struct {
      char const * story;
      std::size_t size;  // the file ends here
      std::size_t place; // eight bytes are smashed here
      std::size_t notes;
   } const cases[] = { { "empty", 0, whole.size(), refused },
                       { "ends in the formats", header.formatsOffset + 4, whole.size(), refused },
                       { "ends in level 8", header.rings[ 8 ].offset + 9, whole.size(), 2 },
                       { "another kind of file", whole.size(), offsetof( Ribbon::FileHeader, magic ), refused },
                       { "no first format", whole.size(), header.formatsOffset, 2 },
                       { "ring elsewhere", whole.size(), offsetof( Ribbon::FileHeader, rings[ 6 ].offset ), 1 },
                       { "head beyond the ring", whole.size(), offsetof( Ribbon::FileHeader, rings[ 6 ].head ), 1 },
                       { "size of a record", whole.size(), ring6.offset + ring6.tail % ring6.size, 1 } };
   for( auto const & [ story, size, place, notes ] : cases ) {
      SCOPED_TRACE( story );
      std::string damaged = whole.substr( 0, size );
      if( place < damaged.size() ) damaged.replace( place, 8, 8, '\xff' );
      try {
         EXPECT_EQ( Ribbon::read( damaged ).notes.size(), notes );
      } catch( std::runtime_error const & ) {
         EXPECT_EQ( notes, refused );
      }
   }

   std::mt19937 random( 1 ); // any damage at all: refused or read, within the bytes that are there
   for( int round = 0; round < 300; ++round ) {
      std::string damaged = whole.substr( 0, round % 3 ? whole.size() : random() % whole.size() );
      for( int i = 0; i < 20 && !damaged.empty(); ++i ) {
         std::size_t const area = i % 2 ? std::min( damaged.size(), header.formatsOffset + 200 ) : damaged.size();
         damaged[ random() % area ] = static_cast< char >( i < 10 ? random() : 0 );
      }
      std::memcpy( damaged.data(), whole.data(), std::min( sizeof header.magic, damaged.size() ) );
      try {
         EXPECT_LE( Ribbon::read( damaged ).messages.size(), damaged.size() / sizeof( Ribbon::RecordHeader ) * 10 );
      } catch( std::runtime_error const & ) {
      }
   }
}

TEST_F( RibbonTest, WhereTheFileLies ) {
   auto const temporary = directory / "temporary";
   fs::create_directory( temporary );
   ::setenv( "TMPDIR", temporary.c_str(), 1 );
   struct {
      char const * name;
      fs::path ribbonDirectory;
      fs::path path; // empty: the file cannot be made, and standard error says so
   } const cases[] = { { "Kiv.rb", directory, directory / "Kiv.rb" },
                       { "Kiv.rb", directory / "absent", "" },
                       { "Kiv-%d.rb", "", temporary / Lum::textOf( "Kiv-", ::getpid(), ".rb" ) } };
   for( auto const & [ name, ribbonDirectory, path ] : cases ) {
      SCOPED_TRACE( ribbonDirectory );
      ::setenv( "RIBBONDIR", ribbonDirectory.c_str(), 1 );
      testing::internal::CaptureStderr();
      Ribbon::initialize( name, { 1 }, nullptr, 0, 1, false, false, 512 );
      EXPECT_EQ( testing::internal::GetCapturedStderr().empty(), fs::exists( path ) );
      EXPECT_EQ( Ribbon::filePath(), path );
      Ribbon::finalize();
      EXPECT_FALSE( fs::exists( path ) ); // it was not to be kept
   }
}

TEST_F( RibbonTest, ANewRingLeavesTheCrashedOneReadable ) {
   inProcessThatDies( [] { step( 1 ); } );
   initialize();
   initialize(); // once per process: the ring that is on stays
   EXPECT_EQ( Ribbon::readFile( directory / "t.old.rb" ).messages.size(), 1u );
   step( 2 );
   Ribbon::finalize();
   step( 3 ); // off
   initialize();
   step( 4 ); // the format is stored in the new file, too
   auto const messages = Ribbon::readFile( file ).messages;
   ASSERT_EQ( messages.size(), 1u );
   EXPECT_EQ( messages[ 0 ].text, " step 4 ++++" );
   Ribbon::removeFile();
   EXPECT_FALSE( fs::exists( file ) );
}

TEST_F( RibbonTest, AFileThatIsTruncatedCostsItsContentAndNothingElse ) {
   initialize();
   step( 1 );
   testing::internal::CaptureStderr();
   for( auto const size : { fs::file_size( file ) / 2, std::uintmax_t( 0 ) } ) {
      fs::resize_file( file, size );
      for( int number = 0; number < 5000; ++number ) step( number );
      TRACE8( trace(), " entry ", 7 );
   }
   EXPECT_EQ( testing::internal::GetCapturedStderr(),
              file.native() + " has been truncated; the ring goes on in memory\n" );
   auto const other = directory / "other";
   std::ofstream( other ) << "x";
   int const descriptor = ::open( other.c_str(), O_RDWR );
   auto * const mapped = static_cast< char volatile * >( ::mmap( nullptr, 1, PROT_WRITE, MAP_SHARED, descriptor, 0 ) );
   ::close( descriptor );
   fs::resize_file( other, 0 );
   EXPECT_DEATH( *mapped = 'y', "" ) << "a bus error elsewhere is no business of the ring";
}

TEST_F( RibbonTest, TheFileOfALivingProcessIsLeftToIt ) {
   pid_t const other = writer();
   initialize();
   EXPECT_EQ( Ribbon::filePath(), directory / Lum::textOf( "t-", ::getpid(), ".rb" ) );
   EXPECT_EQ( Ribbon::readFile( file ).process, static_cast< std::uint64_t >( other ) );
   Ribbon::finalize();
   kill( other );
   initialize();
   EXPECT_EQ( Ribbon::filePath(), file );
   EXPECT_EQ( Ribbon::readFile( directory / "t.old.rb" ).process, static_cast< std::uint64_t >( other ) );
}

TEST_F( RibbonTest, OfTheFilesOfEndedProcessesTheNewestThreeAreKept ) {
   auto const now = fs::file_time_type::clock::now();
   int age = 0; // in hours; the file that is held is the oldest
   for( char const * name :
        { "t-5.rb", "t-70.old.rb", "t-8.rb", "t-70.rb", "t-9.rb", "tt-1.rb", "t-x.rb", "t-1.rb" } ) {
      std::ofstream( directory / name ) << "left";
      fs::last_write_time( directory / name, now - std::chrono::hours( ++age ) );
   }
   int const living = ::open( ( directory / "t-1.rb" ).c_str(), O_RDWR );
   ASSERT_EQ( ::flock( living, LOCK_EX ), 0 );
   initialize();
   ::close( living );
   std::set< std::string > names;
   for( auto const & entry : fs::directory_iterator( directory ) ) names.insert( entry.path().filename() );
   EXPECT_EQ( names,
              std::set< std::string >( { "t.rb", "t-5.rb", "t-70.old.rb", "t-8.rb", "tt-1.rb", "t-x.rb", "t-1.rb" } ) );
}

} // namespace
