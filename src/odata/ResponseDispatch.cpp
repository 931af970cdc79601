// Reading a response body by its root element.
#include "odata/QuillonCore.h"

#include "odata/ODataErrors.h"

namespace quillon {

int QuillonCore::DispatchResponse(BufStrBase& body) {
  (void)body;
  return Fail(errServiceError, "The response could not be read: this build has no reader yet.");
}

} // namespace quillon
