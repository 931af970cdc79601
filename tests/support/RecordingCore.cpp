#include "support/RecordingCore.h"

namespace quillon::test {

int RecordingCore::RunAction(int action) {
  ClearLastError();
  RecordedRequest request;
  request.url.assign(URL.Data(), static_cast<size_t>(URL.Length()));
  request.action = action;
  request.httpMethod.assign(HTTPMethod.Data(), static_cast<size_t>(HTTPMethod.Length()));
  request.postData.assign(PostData.Data(), static_cast<size_t>(PostData.Length()));
  request.otherHeaders.assign(OtherHeaders.Data(), static_cast<size_t>(OtherHeaders.Length()));
  request.contentType.assign(ContentType.Data(), static_cast<size_t>(ContentType.Length()));
  requests.push_back(request);

  StatusCode = answer.statusCode;
  TransferredData.Assign(answer.body);
  if (answer.result != 0) SetLastErrorText(answer.statusText.c_str());
  return answer.result;
}

} // namespace quillon::test
