// Result codes of the OData client.
#pragma once

namespace quillon {

enum ODataError : int {
  errNoServiceRoot = 901, // ServiceRootURI is empty
  errServiceError = 902,  // the service refused; the text is its body or its error document
  errSchema = 903,        // a schema reference that does not resolve
  errEmptyPath = 906,     // an empty property path was given to the entry builder
};

} // namespace quillon
