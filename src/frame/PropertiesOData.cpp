// Properties of the OData link: the request's parts.
#include "frame/ControlSurface.h"

namespace quillon {

namespace {
const PropertyRow kRows[] = {
    TextFieldRow<&QuillonCore::userHeaders>(63, "OtherHeaders"),
    TextFieldRow<&QuillonCore::OtherQueryOptions>(64, "OtherQueryOptions"),
    TextFieldRow<&QuillonCore::QueryFilter>(76, "QueryFilter"),
    TextFieldRow<&QuillonCore::QueryOrderBy>(77, "QueryOrderBy"),
    TextFieldRow<&QuillonCore::QuerySelect>(78, "QuerySelect"),
    TextFieldRow<&QuillonCore::QuerySkip>(79, "QuerySkip"),
    TextFieldRow<&QuillonCore::QuerySkipToken>(80, "QuerySkipToken"),
    TextFieldRow<&QuillonCore::QueryTop>(81, "QueryTop"),
    TextFieldRow<&QuillonCore::ResourcePath>(82, "ResourcePath"),
    TextFieldRow<&QuillonCore::ServiceRootURI>(125, "ServiceRootURI"),
};
} // namespace

std::span<const PropertyRow> ODataProperties() {
  return kRows;
}

} // namespace quillon
