// Module-wide state of the library shared by the frame's source files.
#ifndef TLVUTL_FRAME_LIBRARY_STATE_H
#define TLVUTL_FRAME_LIBRARY_STATE_H

#include <tlvutl/frame.h>

namespace tlv::frame {

// The loaded resource module, or null (string loads then fall back to the host's).
HMODULE& LibraryResourceHandle();

// Loads "guidmap.dat" from the installation data folder once; 1 on success.
int LoadGuidMap();

} // namespace tlv::frame

#endif
