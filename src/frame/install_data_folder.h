// Where the frame finds the installation's data folder. The folder getters live in a layer
// above the frame; they install the default provider when the library is loaded, so the
// frame asks for the folder without depending on them.
#ifndef TLVUTL_FRAME_INSTALL_DATA_FOLDER_H
#define TLVUTL_FRAME_INSTALL_DATA_FOLDER_H

#include <tlvutl/frame.h>

namespace tlv::frame {

// The provider used when the host has set none; without either, there is no data folder.
void SetDefaultInstallDataFolderProvider(TlvUtl::InstallDataFolderProvider provider);

} // namespace tlv::frame

#endif
