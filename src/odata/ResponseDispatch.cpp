// The switchboard: a response document is parsed in `parser` and read by its root element.
//
//   BeginResponse   entries read in place take copies of their text; prepare `parser` (code
//                   page, BuildDOM, kept text, tolerant prefixes)
//   parser.Parse    the body in one piece, or a saved file block by block
//   ReadResponse    "/" -> root name -> clear the previous results -> reader by root:
//                   edmx ReadSchema, feed ReadFeed, entry ReadEntryDocument,
//                   error ReadServiceError (always 902), service ReadServiceDocument
//                   -> a root still open at the end of the input: 206, whatever was read
//
// Nothing of the previous response is cleared before the new document has parsed, so a broken
// document leaves the earlier results in place. A document cut short parses (the scanner waits
// for more) and is read as far as it goes, but it is never a success; one cut before its root
// began, or empty, has nothing to read and is 206 as well.
#include "odata/QuillonCore.h"

#include "frame/Errors.h"
#include "frame/FileHandle.h"
#include "odata/ODataErrors.h"
#include "xml/XmlErrors.h"

#include <cstring>

namespace quillon {

namespace {
// Bytes of a saved response pushed through the scanner at a time.
constexpr int kFileBlock = 16384;
constexpr const char* kCutShort = "Document contains unbalanced elements.";
} // namespace

int QuillonCore::ParserFailure(int code) {
  lastError.Assign(parser.lastError);
  return code;
}

int QuillonCore::BeginResponse() {
  if (inResponseRead) return Fail(errBusy, "Busy performing current action.");
  // The entries of the last document must outlive it, should the next one not parse.
  for (int i = 0; i < entries.Count(); ++i)
    if (EntryRecord* entry = entries.Peek(i); entry && entry->Detach() != errNone)
      return DescribeError(errOutOfMemory);
  parser.ResetCore();
  parser.PrepareForDocument(charsetMode);
  parser.impl.KeepOriginalText = 1;
  parser.impl.codePage = codePage;
  return errNone;
}

int QuillonCore::DispatchResponse(BufStrBase& body) {
  if (int rc = BeginResponse(); rc != errNone) return rc;
  return ReadResponse(parser.Parse(body.View()));
}

int QuillonCore::ReadResponse(int parseResult) {
  if (parseResult != errNone) return ParserFailure(parseResult);
  const XmlTree& tree = parser.impl.tree;
  if (!tree.Root()) return Fail(errUnbalancedDocument, kCutShort);
  if (int rc = parser.SetXPath("/"); rc != errNone) return ParserFailure(rc);
  BufStr30 root;
  if (root.Assign(parser.LocalName()) != errNone) return DescribeError(errOutOfMemory);

  serviceError.Clear();
  generatedEntry.Clear();
  entries.Clear();
  ClearSchema();
  ClearChannel();
  entryIndex = 0;
  rootKind.Clear();

  struct Reader {
    const char* root;
    int (QuillonCore::*read)();
  };
  static constexpr Reader kReaders[] = {
      {"edmx", &QuillonCore::ReadSchema},
      {"feed", &QuillonCore::ReadFeed},
      {"entry", &QuillonCore::ReadEntryDocument},
      {"error", &QuillonCore::ReadServiceError},
      {"service", &QuillonCore::ReadServiceDocument},
  };
  int rc = errNone;
  for (const Reader& reader : kReaders) {
    if (!SameNoCase(root.View(), reader.root)) continue;
    rootKind.Assign(reader.root);
    inResponseRead = 1;
    rc = (this->*reader.read)();
    inResponseRead = 0;
    break;
  }
  return tree.IsClosed(tree.Root()) ? rc : Fail(errUnbalancedDocument, kCutShort);
}

int QuillonCore::ReadServiceError() {
  serviceError.Clear();
  const std::string_view code = parser.TextAt("/error/code");
  if (!code.empty()) {
    serviceError.AppendText("Code: ");
    serviceError.Append(code);
  }
  const std::string_view message = parser.TextAt("/error/message");
  if (!message.empty()) {
    if (!serviceError.IsEmpty()) serviceError.AppendText(", ");
    serviceError.AppendText("Message: ");
    serviceError.Append(message);
  }
  lastError.Assign(serviceError);
  return errServiceError;
}

int QuillonCore::ReadServiceDocument() {
  if (int rc = parser.SetXPath("/service/workspace"); rc != errNone) return ParserFailure(rc);
  return errNone;
}

// The file goes through the scanner block by block, so that it is never held twice; what the
// reader sees is the same as for a body handed over in one piece. A NUL byte ends the document.
int QuillonCore::ReadFile(const char* path, int* readResult) {
  *readResult = errNone;
  if (inResponseRead) return Fail(errBusy, "Busy performing current action.");
  FileHandle file;
  if (file.OpenRead(path) != errNone) return Fail(errFileNotOpened, "Can't read file for reading.");
  if (int rc = BeginResponse(); rc != errNone) return rc;
  if (const int64_t size = file.Size(); size > 0)
    parser.impl.ExpectInput(static_cast<size_t>(size));
  BufStr16K block;
  block.Resize(kFileBlock, nullptr);
  int parseResult = errNone;
  bool ended = false;
  while (!ended && parseResult == errNone) {
    int got = 0;
    if (file.ReadSome(block.Data(), kFileBlock, &got) != errNone) {
      SetLastErrorText("Error reading from local file.");
      break;
    }
    std::string_view piece(block.Data(), static_cast<size_t>(got));
    if (const void* nul = std::memchr(piece.data(), 0, piece.size())) {
      piece = piece.substr(0, static_cast<size_t>(static_cast<const char*>(nul) - piece.data()));
      ended = true;
    }
    ended = ended || got == 0;
    if (!piece.empty()) parseResult = parser.Parse(piece);
  }
  *readResult = ReadResponse(parseResult);
  return errNone;
}

int QuillonCore::Reset() {
  if (inResponseRead) return Fail(errBusy, "Busy performing current action.");
  entries.Clear();
  ClearSchema();
  entryIndex = 0;
  OtherHeaders.Clear();
  rootKind.Clear();
  generatedEntry.Clear();
  serviceError.Clear();
  ClearChannel();
  scratchEntry.Clear();
  parser.Reset();
  return RunAction(actReset);
}

} // namespace quillon
