// What the benchmarks print: a table of operations, in time and in units of one plain virtual call of the same run,
// which makes figures of different machines comparable.
#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace Bench {

/// The name of the benchmark that gives the unit.
constexpr char const * unitName = "one plain virtual call";

/// Of several makes, so that the compiler cannot guess whose call it is.
struct Plain {
   virtual ~Plain() = default;
   virtual void call() = 0;
   std::uint64_t calls = 0;
};
struct Up final : Plain {
   void call() override { ++calls; }
};
struct Down final : Plain {
   void call() override { --calls; }
};

inline void virtualCall( benchmark::State & state ) {
   Up up;
   Down down;
   Plain * object = state.max_iterations ? static_cast< Plain * >( &up ) : &down;
   for( auto _ : state ) {
      benchmark::DoNotOptimize( object ); // its type is not known to the compiler
      object->call();
   }
}

/// Prints the median of each benchmark's repetitions. A benchmark whose iteration is of several operations says how
/// many by its counter `operations`; one of memory gives its result by its counter `bytes`. The label is the mark that
/// it is to stay below, in virtual calls unless it names a unit.
class Table : public benchmark::BenchmarkReporter {
 public:
   bool ReportContext( Context const & ) override { return true; }

   void ReportRuns( std::vector< Run > const & runs ) override {
      for( auto const & run : runs ) {
         if( run.run_type != Run::RT_Iteration ) continue;
         auto const [ place, first ] = rows_.try_emplace( run.run_name.function_name );
         auto & row = place->second;
         if( first ) order_.push_back( place->first );
         auto const bytes = run.counters.find( "bytes" );
         auto const operations = run.counters.find( "operations" );
         double const each = operations == run.counters.end() ? 1.0 : operations->second.value;
         row.mark = run.report_label;
         row.isMemory = bytes != run.counters.end();
         row.values.push_back( row.isMemory ? bytes->second.value : run.GetAdjustedRealTime() / each );
      }
   }

   void Finalize() override {
      auto const unit = rows_.find( unitName );
      std::printf( "%-72s %12s %10s %8s\n", "", "", "calls", "mark" );
      for( auto const & name : order_ ) {
         auto & row = rows_[ name ];
         double const value = row.median();
         bool const large = value >= 1000;
         char const * const scale = row.isMemory ? "kB" : large ? "us" : "ns";
         std::printf( "%-72s %9.2f %s", name.c_str(), row.isMemory || large ? value / 1000 : value, scale );
         if( row.isMemory || unit == rows_.end() ) {
            std::printf( " %10s", "" );
         } else {
            std::printf( " %10.1f", value / unit->second.median() );
         }
         std::printf( " %8s\n", row.mark.c_str() );
      }
   }

 private:
   struct Row {
      std::string mark;
      bool isMemory = false;
      std::vector< double > values; // nanoseconds or bytes, one of each repetition

      double median() {
         std::sort( values.begin(), values.end() );
         return values[ values.size() / 2 ];
      }
   };
   std::map< std::string, Row > rows_;
   std::vector< std::string > order_;
};

/// The whole of a program whose benchmarks `registerAll` registers behind the one that gives the unit.
inline int run( int argc, char ** argv, void ( *registerAll )() ) {
   benchmark::Initialize( &argc, argv );
   if( benchmark::ReportUnrecognizedArguments( argc, argv ) ) return 1;
   benchmark::RegisterBenchmark( unitName, virtualCall );
   registerAll();
   Table table;
   benchmark::RunSpecifiedBenchmarks( &table );
   return 0;
}

} // namespace Bench
