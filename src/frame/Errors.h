// Result codes shared by the whole engine. 0 is success; every other code travels with its text
// in the object's lastError. Each subsystem lists its own codes in its own header.
#pragma once

namespace quillon {

enum FrameError : int {
  errNone = 0,
  errUnknownConfig = -1,  // no link of the Config chain knows the key
  errFileOpenRead = 3,    // FileHandle::OpenRead could not open the file
  errFileOpenWrite = 4,   // OpenCreate, OpenNew or OpenAppend could not open the file
  errFileClosed = 5,      // read or write on a closed FileHandle
  errFileRead = 6,        // read failed; the handle is closed
  errFileWrite = 7,       // write failed; the handle is closed
  errFileSeek = 8,        // seek after open failed
  errFileShortRead = 10,  // fewer bytes than asked for; the handle is closed
  errBusy = 143,          // an action was asked for while another runs
  errOutOfMemory = 200,   // an allocation failed; DescribeError supplies the text
  errXPath = 207,         // a path that the cursor cannot follow
  errInterrupted = 301,   // a wait ended by timeout or by the host; "Timeout." or "Interrupted."
  errFileNotOpened = 302, // a file named by the host could not be opened
  errIndex = 432,         // an index or name outside a string or list
  errCodePage = 434,      // a text could not be converted to or from the code page
};

} // namespace quillon
