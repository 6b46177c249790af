// What the benchmarks print: a table of operations in units of one plain virtual call of the same run, which makes
// figures of different machines comparable.
#pragma once

#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace Bench {

/// The name of the benchmark that gives the unit.
constexpr char const * unitName = "one plain virtual call";

/// Prints each benchmark's best repetition. A benchmark whose iteration is of several operations says how many by its
/// counter `operations`; its label is the mark that it is to stay below, in units.
class Table : public benchmark::BenchmarkReporter {
 public:
   bool ReportContext( Context const & ) override { return true; }

   void ReportRuns( std::vector< Run > const & runs ) override {
      for( auto const & run : runs ) {
         if( run.run_type != Run::RT_Iteration ) continue;
         auto const operations = run.counters.find( "operations" );
         double const each = operations == run.counters.end() ? 1.0 : operations->second.value;
         double const time = run.real_accumulated_time / static_cast< double >( run.iterations ) / each * 1e9;
         auto const [ place, first ] = best_.try_emplace( run.run_name.function_name, time );
         place->second = std::min( place->second, time );
         if( first ) order_.push_back( { place->first, run.report_label } );
      }
   }

   void Finalize() override {
      auto const unit = best_.find( unitName );
      std::printf( "%-64s %10s %8s %6s\n", "", "ns", "calls", "mark" );
      for( auto const & [ name, mark ] : order_ ) {
         double const time = best_[ name ];
         double const calls = unit == best_.end() ? 0.0 : time / unit->second;
         std::printf( "%-64s %10.2f %8.1f %6s\n", name.c_str(), time, calls, mark.c_str() );
      }
   }

 private:
   struct Row {
      std::string name, mark;
   };
   std::map< std::string, double > best_;
   std::vector< Row > order_;
};

} // namespace Bench
