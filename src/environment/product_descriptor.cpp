#include "folder_roots.h"

namespace tlv::environment {

// The values of the default installation's "AppBoxID.xml"; the descriptor file itself is
// read once the XML layer is part of the library.
const ProductDescriptor& Product() {
    static const ProductDescriptor product{
        L"Graphics Suite", L"Talvo Graphics Suite",   L"Talvo Graphics Suite",  L"Talvo",
        L"Graphics Suite", L"Graphics Suite Content", L"Graphics Suite Content"};
    return product;
}

} // namespace tlv::environment
