// Reading an EDMX document into the schema lists.
#include "odata/QuillonCore.h"

#include "odata/ODataErrors.h"

namespace quillon {

void QuillonCore::ClearSchema() {
  schemaEntityIndex = schemaPropertyIndex = schemaTypeFieldIndex = 0;
  schemaAssociationIndex = schemaTypeIndex = 0;
}

int QuillonCore::ReadSchema() {
  return Fail(errSchema, "Schemas cannot be read by this build yet.");
}

} // namespace quillon
