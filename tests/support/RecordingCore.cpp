#include "support/RecordingCore.h"

namespace quillon::test {

int RecordingCore::RunAction(int action) {
  ClearLastError();
  requests.push_back({std::string(URL.View()), action, std::string(HTTPMethod.View()),
                      std::string(PostData.View()), std::string(OtherHeaders.View()),
                      std::string(ContentType.View())});

  StatusCode = answer.statusCode;
  TransferredData.Assign(answer.body);
  if (answer.result != 0) SetLastErrorText(answer.statusText.c_str());
  return answer.result;
}

} // namespace quillon::test
