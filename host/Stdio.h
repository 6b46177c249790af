// Requests on standard input, answers on standard output.
#pragma once

#include "host/Session.h"

#include <boost/asio/signal_set.hpp>

namespace Host {

/// The protocol's own standard output. Whatever else the program prints to
/// standard output goes to standard error instead, so that nothing gets between
/// the answers.
class ProtocolOutput {
 public:
   ProtocolOutput();
   ProtocolOutput( ProtocolOutput const & ) = delete;
   ProtocolOutput & operator=( ProtocolOutput const & ) = delete;
   ~ProtocolOutput();

   /// Writes a line at once. A reader that is gone is told nothing more.
   void line( std::string const & text );

 private:
   int fd_;
};

/// Serves until the end of input, a quit request, or a signal of `signals`.
void serveStdio( Session & session, boost::asio::io_context & loop, boost::asio::signal_set & signals,
                 ProtocolOutput & output );

} // namespace Host
