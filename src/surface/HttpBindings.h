// Bindings of the HTTP link: the cookie jar and the parsed headers, indexed from 0, the Idle flag,
// and the bytes that the running Transfer or SSLServerAuthentication event holds.
#pragma once

#include "http/HttpErrors.h"
#include "surface/Bindings.h"
#include "surface/HostSink.h"

namespace quillon {

inline int GetCookieCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.CookieCount();
  return errNone;
}
// Raising the count adds empty cookies; a negative count changes nothing.
inline int SetCookieCount(QuillonCore& core, int, const PropertyValue& in) {
  if (in.number < 0 || in.number > INT32_MAX / ckFieldCount) return errNone;
  return core.Cookies.SetCount(static_cast<int>(in.number) * ckFieldCount);
}

// A read outside the jar fails as an index of the surface; lastError keeps the jar's own text.
template <int Field> int GetCookieText(QuillonCore& core, int index, PropertyValue& out) {
  if (core.ValidateCookieIndex(index) != errNone) return errArrayIndex;
  out.text.Point(core.Cookies.At(index * ckFieldCount + Field));
  return errNone;
}
// A write outside the jar reports the jar's own code, 156.
template <int Field> int SetCookieText(QuillonCore& core, int index, const PropertyValue& in) {
  if (int rc = core.ValidateCookieIndex(index); rc != errNone) return rc;
  return core.Cookies.SetAt(index * ckFieldCount + Field, in.text.Data(), in.text.Length());
}
template <int Field> constexpr Binding CookieText{&GetCookieText<Field>, &SetCookieText<Field>};
inline int GetCookieSecure(QuillonCore& core, int index, PropertyValue& out) {
  if (core.ValidateCookieIndex(index) != errNone) return errArrayIndex;
  out.number = core.Cookies.AtInt(index * ckFieldCount + ckSecure) > 0;
  return errNone;
}

inline int GetParsedHeaderCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.ParsedHeaderCount();
  return errNone;
}
// `Slot` is 0 for the field and 1 for the value. An index outside leaves lastError alone.
template <int Slot> int GetParsedHeader(QuillonCore& core, int index, PropertyValue& out) {
  if (index < 0 || index >= core.ParsedHeaderCount()) return errArrayIndex;
  out.text.Point(core.ParsedHeaders.At(2 * index + Slot));
  return errNone;
}
template <int Slot> constexpr Binding ParsedHeaderText{&GetParsedHeader<Slot>, nullptr};

inline int GetIdle(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.CurrentAction == 0;
  return errNone;
}

// Outside the event, and without a handler to run it, the bytes are empty.
inline int GetHeldCert(QuillonCore& core, int, PropertyValue& out) {
  if (const auto* sink = dynamic_cast<const HostSink*>(core.eventSink))
    out.text.Point(sink->HeldCert());
  return errNone;
}
inline int GetHeldText(QuillonCore& core, int, PropertyValue& out) {
  if (const auto* sink = dynamic_cast<const HostSink*>(core.eventSink))
    out.text.Point(sink->HeldText());
  return errNone;
}

} // namespace quillon
