// A QuillonCore whose HTTP action is played by the test: RunAction records what the OData link
// hands to the HTTP link (URL, action, method, body, header lines) and answers with a scripted
// status, body and result.
#pragma once

#include "odata/QuillonCore.h"

#include <string>
#include <vector>

namespace quillon::test {

struct RecordedRequest {
  std::string url;
  int action = -1;
  std::string httpMethod;   // HTTPMethod at the time of the action
  std::string postData;     // PostData, exactly
  std::string otherHeaders; // the header lines of this request
  std::string contentType;
};

struct ScriptedAnswer {
  int result = 0;
  int statusCode = 200;
  std::string body;
  std::string statusText; // the last-error text of a failed result
};

class RecordingCore : public QuillonCore {
public:
  int RunAction(int action) override;

  std::vector<RecordedRequest> requests;
  ScriptedAnswer answer;
};

} // namespace quillon::test
