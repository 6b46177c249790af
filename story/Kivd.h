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
   /// Starts `program` on a virtual clock; raises std::system_error when it cannot. The agent waits for a start request
   /// if `waits`.
   Kivd( std::string const & program, bool waits );
   Kivd( Kivd const & ) = delete;
   Kivd & operator=( Kivd const & ) = delete;
   ~Kivd();

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
