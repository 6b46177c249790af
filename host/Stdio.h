// Requests on standard input, answers on standard output.
#pragma once

#include "host/Session.h"

#include <system_error>

namespace Host {

/// SIGINT and SIGTERM. Once this is made they no longer end the process but ask for its end.
class StopSignals {
 public:
   StopSignals();
   StopSignals( StopSignals const & ) = delete;
   StopSignals & operator=( StopSignals const & ) = delete;
   ~StopSignals();

   bool asked() const;
   /// A descriptor to wait on; it is ready to be read once the end is asked for, and nobody reads it.
   int descriptor() const { return fd_; }

 private:
   int fd_;
};

/// The protocol's own standard output. Whatever else the program prints to standard output goes to standard error
/// instead, so that nothing gets between the answers.
class ProtocolOutput {
 public:
   explicit ProtocolOutput( StopSignals const & stop );
   ProtocolOutput( ProtocolOutput const & ) = delete;
   ProtocolOutput & operator=( ProtocolOutput const & ) = delete;
   ~ProtocolOutput();

   /// Writes a line at once, waiting for a slow reader. Gives up when the end is asked for meanwhile, or at an error;
   /// after that nothing more is written.
   void line( std::string const & text );
   bool open() const { return open_; }
   /// Why a line could not be written.
   std::error_code error() const { return error_; }

 private:
   StopSignals const & stop_;
   int fd_;
   bool open_ = true;
   std::error_code error_;
};

/// Serves until the end of input, a quit request or a stop signal. A line without its newline at the end of input is
/// served; a stop signal leaves it unserved. Raises std::system_error when the input cannot be read or the output not
/// be written.
void serveStdio( Session & session, boost::asio::io_context & loop, StopSignals const & stop, ProtocolOutput & output );

} // namespace Host
