// A kivd of one's own, spoken to over its standard input and output.
#pragma once

#include <cstdio>
#include <rapidjson/document.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Story {

class Kivd {
 public:
   /// Starts `program` on a virtual clock, with further `arguments`; raises std::system_error when it cannot.
   Kivd( std::string const & program, std::vector< std::string > const & arguments );
   Kivd( Kivd const & ) = delete;
   Kivd & operator=( Kivd const & ) = delete;
   /// Ends the input and waits until it has ended.
   ~Kivd();

   /// Ends it as a crash would; nothing can be asked any more.
   void kill();
   /// Sends one request and returns its answer; raises std::runtime_error when kivd is gone.
   rapidjson::Document ask( std::string const & request );
   /// The value at a JSON Pointer; null when there is none.
   rapidjson::Document get( std::string const & pointer );

 private:
   std::string readLine();

   std::FILE * requests_ = nullptr;
   std::FILE * answers_ = nullptr;
   pid_t process_ = -1;
};

} // namespace Story
