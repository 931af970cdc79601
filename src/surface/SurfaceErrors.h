// Failures of the control surface itself, numbered as a host of the dispatch interface sees them
// (failure value 0x800A0000 | n).
#pragma once

namespace quillon {

enum SurfaceError : int {
  errValueOutOfRange = 380, // "Value is out of range." for an enumeration outside its values
  errArrayIndex = 381,      // "Invalid array index." for an index outside an indexed property
  errReadOnly = 383,        // "Property is read-only."
  errDesignTime = 394,      // "Property is runtime only (no supported in design time)."
  errUnknownMember = 438,   // a property name that the component does not have
};

} // namespace quillon
