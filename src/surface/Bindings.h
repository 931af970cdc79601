// The bindings that most rows share: a text or number field of the engine, read as it stands and
// written directly or through the engine's setter.
#pragma once

#include "surface/ControlSurface.h"
#include "surface/SurfaceErrors.h"

namespace quillon {

template <auto Member> int GetTextField(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.*Member);
  return errNone;
}
template <auto Member> int SetTextField(QuillonCore& core, int, const PropertyValue& in) {
  return (core.*Member).Assign(in.text.View());
}
template <auto Member, int (HttpClient::*Setter)(std::string_view)>
int SetTextVia(QuillonCore& core, int, const PropertyValue& in) {
  return (core.*Setter)(in.text.View());
}

template <auto Member> int GetNumberField(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int64_t>(core.*Member);
  return errNone;
}
template <auto Member> int SetNumberField(QuillonCore& core, int, const PropertyValue& in) {
  using Field = std::remove_reference_t<decltype(core.*Member)>;
  core.*Member = static_cast<Field>(in.number);
  return errNone;
}
template <int (HttpClient::*Setter)(int)>
int SetNumberVia(QuillonCore& core, int, const PropertyValue& in) {
  return (core.*Setter)(static_cast<int>(in.number));
}

// A text field of the engine, read and written as it stands.
template <auto Member> constexpr Binding TextField{&GetTextField<Member>, &SetTextField<Member>};
// A text field written through the engine's setter, which keeps its side effects.
template <auto Member, int (HttpClient::*Setter)(std::string_view)>
constexpr Binding TextVia{&GetTextField<Member>, &SetTextVia<Member, Setter>};
// A number or flag field of the engine.
template <auto Member>
constexpr Binding NumberField{&GetNumberField<Member>, &SetNumberField<Member>};
template <auto Member, int (HttpClient::*Setter)(int)>
constexpr Binding NumberVia{&GetNumberField<Member>, &SetNumberVia<Setter>};

} // namespace quillon
