// The inside of a Quillon object: the engine, its event sink, and the steps that every member
// takes at the border. A read: the design-time test, the engine's getter (which tests its index),
// pendingError, the conversion to UTF-8. A write: the read-only test, the conversion to the code
// page or the enumeration's test, the engine's setter. Every failure is recorded as the host sees
// it: code, failure value, help number and description.
#pragma once

#include "frame/Errors.h"
#include "quillon/Quillon.h"
#include "surface/ControlSurface.h"
#include "surface/HostSink.h"
#include "surface/SurfaceErrors.h"

#include <type_traits>

namespace quillon {

struct Quillon::Impl {
  QuillonCore core;
  HostSink sink;
  Failure failure;    // the latest failure
  int lastResult = 0; // the result of the latest member
  bool designMode = false;

  Impl();

  // Results
  int Succeed() {
    lastResult = errNone;
    return errNone;
  }
  // Records a failure of the surface's own, with the help number `helpNumber`.
  int SurfaceFailure(int code, const char* description, int helpNumber);
  // Records the failure of an engine result: "Out of memory." for 200; otherwise lastError,
  // filled by DescribeError when empty, or "No description available.". 0 succeeds.
  int EngineResult(int code, int helpNumber);
  // A text that could not cross the border: 200, or a conversion that failed.
  int BorderFailure(int code);
  // The write of a read-only property.
  int ReadOnlyFailure(const PropertyRow& row);
  // A method's text argument in the engine's code page.
  int ToEngine(BufStrBase& out, std::string_view text) {
    return HostToEngine(out, text, core.codePage);
  }

  // Properties
  // Runs the getter of `row` for `index`; 0, or the recorded failure.
  int Fetch(const PropertyRow& row, int index, PropertyValue& value) {
    if (designMode && !row.designTime)
      return SurfaceFailure(errDesignTime,
                            "Property is runtime only (no supported in design time).",
                            PropertyHelpNumber(row.id));
    core.pendingError = 0;
    if (int rc = row.get(core, index, value); rc != errNone) {
      if (rc == errArrayIndex)
        return SurfaceFailure(errArrayIndex, "Invalid array index.", PropertyHelpNumber(row.id));
      return EngineResult(rc, PropertyHelpNumber(row.id));
    }
    if (core.pendingError != errNone) return EngineResult(core.pendingError, 0);
    return errNone;
  }
  int ReadText(const PropertyRow& row, int index, std::string& out) {
    PropertyValue value;
    if (int rc = Fetch(row, index, value); rc != errNone) return rc;
    std::string_view bytes = value.text.View();
    if (row.kind == ValueKind::Bytes) {
      out.assign(bytes.data(), bytes.size());
      return Succeed();
    }
    if (row.kind == ValueKind::Text) bytes = bytes.substr(0, bytes.find('\0'));
    if (int rc = EngineToHost(out, bytes, core.codePage); rc != errNone) return BorderFailure(rc);
    return Succeed();
  }
  int ReadNumber(const PropertyRow& row, int index, int64_t& out) {
    PropertyValue value;
    if (int rc = Fetch(row, index, value); rc != errNone) return rc;
    out = value.number;
    return Succeed();
  }
  int WriteText(const PropertyRow& row, int index, std::string_view text);
  int WriteNumber(const PropertyRow& row, int index, int64_t number);

  // The typed members' steps: a failed read gives an empty text, 0 or false.
  template <class T> T Get(const PropertyRow& row, int index) {
    if constexpr (std::is_same_v<T, std::string>) {
      std::string out;
      if (ReadText(row, index, out) != errNone) out.clear();
      return out;
    } else {
      int64_t number = 0;
      ReadNumber(row, index, number);
      if constexpr (std::is_same_v<T, bool>)
        return number != 0;
      else
        return static_cast<T>(number);
    }
  }
  template <class T> int Set(const PropertyRow& row, int index, T value) {
    if constexpr (std::is_same_v<T, std::string_view>)
      return WriteText(row, index, value);
    else
      return WriteNumber(row, index, static_cast<int64_t>(value));
  }
};

} // namespace quillon
