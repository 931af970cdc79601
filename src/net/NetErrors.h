// Result codes of the connection engine. Socket errors keep their Windows numbers (10004 and up,
// 11001 to 11004) and come from platform/Socket.h; the codes below are the engine's own.
#pragma once

#include "platform/Socket.h"

namespace quillon {

enum NetError : int {
  errRemotePortBusy = 100,   // SetRemotePort while a socket exists
  errRemoteHostBusy = 101,   // SetRemoteHost while a socket exists
  errAddressInvalid = 102,   // connect to address 0.0.0.0 (RemoteHost or FirewallHost)
  errAlreadyConnected = 104, // PortConnect while a socket exists
  errLocalPortBusy = 106,    // SetLocalPort while a socket exists
  errLineLengthBusy = 112,   // SetMaxLineLength while a socket exists
  errPortZero = 116,         // connect to port 0 (RemotePort or FirewallPort)
  errTunnelFailed = 118,     // a firewall tunnel refused; its text is set where it failed
  errDeliveryModeBusy = 287, // UseWindowsMessages changed while a socket exists
};

} // namespace quillon
