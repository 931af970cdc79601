// Bindings of the connection engine: Timeout, LocalHost, the firewall tunnel's settings, and the
// proxy settings that move the tunnel (ProxySSL, ProxyAutoDetect).
#pragma once

#include "surface/Bindings.h"

#include <cstdint>

namespace quillon {

// Timeout is a 16-bit number; a wider one is refused rather than cut.
inline int GetTimeout(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int16_t>(core.GetTimeout());
  return errNone;
}
inline int SetTimeout(QuillonCore& core, int, const PropertyValue& in) {
  if (in.number < INT16_MIN || in.number > INT16_MAX)
    return core.Fail(errValueOutOfRange, "Value is out of range.");
  core.SetTimeout(static_cast<int>(in.number), true);
  return errNone;
}

inline int GetLocalHost(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.GetLocalHost());
  return errNone;
}
inline int SetLocalHost(QuillonCore& core, int, const PropertyValue& in) {
  return core.SetLocalHost(in.text.Data());
}

// A number of the firewall tunnel, read as it stands.
template <auto Field> int GetTunnelNumber(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.tunnel.*Field;
  return errNone;
}
template <auto Field> int GetTunnelText(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.tunnel.*Field);
  return errNone;
}

inline int SetFirewallAutoDetect(QuillonCore& core, int, const PropertyValue& in) {
  return core.tunnel.SetFirewallAutoDetect(in.number != 0);
}
// The type brings its port along: 0, 80 for CONNECT, 1080 for SOCKS.
inline int SetFirewallType(QuillonCore& core, int, const PropertyValue& in) {
  core.tunnel.SetFirewallType(static_cast<int>(in.number));
  return errNone;
}
inline int SetFirewallPort(QuillonCore& core, int, const PropertyValue& in) {
  core.tunnel.firewallPort = static_cast<int32_t>(in.number);
  return errNone;
}
// Only the address is kept; it reads back dotted, or empty when there is none.
inline int GetFirewallHost(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.tunnel.FirewallHost());
  return errNone;
}
inline int SetFirewallHost(QuillonCore& core, int, const PropertyValue& in) {
  return core.tunnel.SetFirewallHost(in.text.Data());
}
template <int (FirewallTunnel::*Setter)(std::string_view)>
int SetTunnelText(QuillonCore& core, int, const PropertyValue& in) {
  return (core.tunnel.*Setter)(in.text.View());
}
// Reads the environment's proxy settings when turned on.
inline int SetProxyAutoDetect(QuillonCore& core, int, const PropertyValue& in) {
  return core.SetProxyAutoDetect(in.number != 0);
}

constexpr Binding FirewallAutoDetectBinding{&GetTunnelNumber<&FirewallTunnel::autoDetect>,
                                            &SetFirewallAutoDetect};
constexpr Binding FirewallTypeBinding{&GetTunnelNumber<&FirewallTunnel::firewallType>,
                                      &SetFirewallType};
constexpr Binding FirewallPortBinding{&GetTunnelNumber<&FirewallTunnel::firewallPort>,
                                      &SetFirewallPort};
constexpr Binding FirewallHostBinding{&GetFirewallHost, &SetFirewallHost};
constexpr Binding FirewallUserBinding{&GetTunnelText<&FirewallTunnel::firewallUser>,
                                      &SetTunnelText<&FirewallTunnel::SetFirewallUser>};
constexpr Binding FirewallPasswordBinding{&GetTunnelText<&FirewallTunnel::firewallPassword>,
                                          &SetTunnelText<&FirewallTunnel::SetFirewallPassword>};
constexpr Binding ProxyAutoDetectBinding{&GetNumberField<&QuillonCore::ProxyAutoDetect>,
                                         &SetProxyAutoDetect};

} // namespace quillon
