// How the benchmarks measure, and what they print. A row of the table is judged by one of three kinds of quantity:
//  - a timing: CPU time of this thread, in at least nine repetitions. Those of all timings come in random order, so
//  that
//    a disturbance of the machine hits no row alone, and the figure is their lower quartile. It is told in units of one
//    plain virtual call, which is a timing among them: that makes figures of different machines comparable;
//  - a count of instructions, which repeats exactly. It is taken in a process of its own under callgrind;
//  - a value, such as bytes of heap, taken in a process of its own, too, where the heap has no history.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Bench {

/// Takes the cost of operations.
class Meter {
 public:
   Meter() = default;
   Meter( Meter const & ) = delete;
   Meter & operator=( Meter const & ) = delete;
   virtual ~Meter() = default;

   /// Runs `work`, which is or ends that many operations; whatever stands outside of it costs nothing.
   template< class Work >
   void measure( double operations, Work const & work ) {
      begin();
      work();
      add( operations, end() );
   }
   /// The same for a cost that was taken elsewhere.
   void add( double operations, double cost ) {
      operations_ += operations;
      cost_ += cost;
   }
   double perOperation() const { return cost_ / operations_; }

 protected:
   virtual void begin() = 0;
   virtual double end() = 0;

 private:
   double operations_ = 0;
   double cost_ = 0;
};

/// What a process of its own measures.
class Apart {
 public:
   virtual ~Apart() = default;
   virtual void value( std::string const & name, double value ) = 0;
   /// Instructions of an operation; only in a process that is run under callgrind.
   virtual void count( std::string const & name, std::function< void( Meter & ) > const & work ) = 0;
};

enum class Unit { calls, instructions, kilobytes, bytes, percent, times, exponent };

/// One line of the table.
struct Row {
   using Figure = std::function< double( std::vector< double > const & ) >;

   std::string name;
   Unit unit;
   std::optional< double > mark;     // what it must not exceed; none: it is only printed
   std::vector< std::string > needs; // the quantities, by name; those of a process apart are "process/name"
   Figure figure = []( auto const & values ) { return values[ 0 ]; }; // of the quantities; times are nanoseconds
   bool leftOut = false;                                              // by --quick
};

/// All rows and what they need.
class Suite {
 public:
   using Repetition = std::function< void( Meter & ) >;
   using Process = std::function< void( Apart & ) >;
   enum class Under { nothing, callgrind };
   struct ApartProcess {
      Process process;
      Under under;
   };

   explicit Suite( bool quick ) : quick_( quick ) {}
   /// The largest sizes are left out.
   bool quick() const { return quick_; }

   void row( Row row ) { rows_.push_back( std::move( row ) ); }
   void timing( std::string const & name, Repetition repetition ) { timings_[ name ] = std::move( repetition ); }
   void apart( std::string const & name, Under under, Process process ) { aparts_[ name ] = { process, under }; }

   /// A timing that is a row, in units.
   void timed( std::string const & name, std::optional< double > mark, Repetition repetition );
   /// How many times the one timing is the other.
   void ratio( std::string const & name, double mark, std::string const & timing, std::string const & to );
   /// The exponent with which a quantity grows with the size; the least squares fit of the logarithms.
   void exponent( std::string const & name, double mark, std::map< double, std::string > const & quantityOfSize );

   std::vector< Row > const & rows() const { return rows_; }
   std::map< std::string, Repetition > const & timings() const { return timings_; }
   std::map< std::string, ApartProcess > const & aparts() const { return aparts_; }

 private:
   bool quick_;
   std::vector< Row > rows_; // in the order of the table
   std::map< std::string, Repetition > timings_;
   std::map< std::string, ApartProcess > aparts_;
};

/// An object that is made at its first use, by whichever row comes first.
template< class T >
class Lazy {
 public:
   explicit Lazy( std::function< T *() > make ) : make_( std::move( make ) ) {}
   T & operator*() const {
      if( !*held_ ) held_->reset( make_() );
      return **held_;
   }

 private:
   std::function< T *() > make_;
   std::shared_ptr< std::unique_ptr< T > > held_ = std::make_shared< std::unique_ptr< T > >(); // shared by copies
};

struct Options {
   std::string json; // the file to write the table to; empty: none
   std::string rows; // what a row's name must match
   bool quick = false;
   unsigned seed = 0;       // of the order of the repetitions
   std::string apart;       // the process that this one is; empty: the one that prints the table
   std::string countFolder; // where callgrind writes its counts
};

/// Tells a person who watches how far it is.
void progress( std::size_t done, std::size_t all, char const * what );

/// Runs what the chosen rows need and prints the table; the process's exit status.
int run( Suite const & suite, Options const & options );

} // namespace Bench
