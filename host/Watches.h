// What a client has asked to be told of, and the lines that tell it.
#pragma once

#include "host/Tree.h"

#include <span>

namespace Host {

/// The watched places. A line is a merge patch from the root: whoever reads a place when the watch begins, and applies
/// the lines from then on, holds a document of the same records.
class Watches {
 public:
   explicit Watches( Tree const & tree ) : tree_( tree ) {}

   bool empty() const { return pointers_.empty(); }
   void clear() { pointers_.clear(); }
   void add( Tokens const & pointer );
   /// The line for a write at `place`, made before anything else is written; empty if nobody asked. A write above a
   /// watched place counts only if something stands or stood there: it rewrote or deleted the whole.
   std::string lineOf( Tokens const & place );

 private:
   /// The names of a document's members. With them a value that lost a field can be told: the field becomes null.
   struct Shape {
      std::map< std::string, Shape, std::less<> > members;
   };

   bool concerns( Tokens const & place );
   Shape * toldAt( std::span< std::string const > pointer );
   void writeChange( Tokens const & place, Writer & writer );
   static void writeMerge( Json const & value, Shape & told, Writer & writer );

   Tree const & tree_;
   std::vector< Tokens > pointers_;
   Shape told_; // right at and below the watched places
};

} // namespace Host
