// What the benchmarks print: a line for each row, and whether it reaches its mark.
#pragma once

#include "bench/Harness.h"

namespace Bench {

class Table {
 public:
   unsigned seed = 0;
   bool quick = false;
   double unit = 0;   // nanoseconds of one plain virtual call; 0: no time was taken
   double spread = 0; // by which its upper quartile exceeds that

   /// The next line; without a figure it was not run.
   void add( Row const & row, std::optional< double > figure );
   void print() const;
   /// The same as a JSON document. Raises std::system_error.
   void write( std::string const & file ) const;
   bool reachesAll() const { return reached() == marks(); }

 private:
   struct Line {
      Row row;
      std::optional< double > measured; // in the row's unit
      double nanoseconds = 0;           // of a row in calls

      std::optional< double > ofMark() const;
   };

   /// The unit was too restless to judge by.
   bool noisy() const { return spread > 0.15; }
   bool judged( Line const & line ) const;
   bool reached( Line const & line ) const;
   std::string verdict( Line const & line ) const;
   std::size_t marks() const;
   std::size_t reached() const;

   std::vector< Line > lines_;
};

} // namespace Bench
