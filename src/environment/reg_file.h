// Reading the text of .reg files, apart from applying it to the store.
#ifndef TLVUTL_ENVIRONMENT_REG_FILE_H
#define TLVUTL_ENVIRONMENT_REG_FILE_H

#include "platform/registry_store.h"

#include <map>
#include <string>
#include <vector>

namespace tlv::environment {

// The changes of a file's bytes (UTF-16LE with its byte-order mark, or UTF-8), grouped by
// predefined root (the low bits of its handle value) in file order. False on the first fault,
// with error "line N: what is wrong".
// "REGEDIT4" files are 8-bit text: UTF-8 when they are valid UTF-8, Windows-1252 otherwise.
// encoding, when given, receives the name of the encoding used.
bool ParseRegFile(const std::string& bytes,
                  std::map<int, std::vector<tlv::platform::RegChange>>& changes,
                  std::wstring& error, std::wstring* encoding = nullptr);

} // namespace tlv::environment

#endif
