#include "doc_state.h"

using namespace TlvUtl::xml_detail;

WXmlNodeList::WXmlNodeList() = default;
WXmlNodeList::WXmlNodeList(const WXmlNodeListPtr& list) : list_(list) {}
WXmlNodeList::WXmlNodeList(const WXmlNodeList& other) = default;
WXmlNodeList& WXmlNodeList::operator=(const WXmlNodeList& other) = default;
WXmlNodeList::~WXmlNodeList() = default;

int WXmlNodeList::Count() const {
    return list_ ? static_cast<int>(list_->nodes.size()) : 0;
}

WXmlNode WXmlNodeList::Node(int index) const {
    if (!list_ || index < 0 || index >= Count())
        return WXmlNode();
    return MakeNode(list_->owner, list_->nodes[static_cast<std::size_t>(index)]);
}

WXmlNode WXmlNodeList::const_iterator::operator*() const {
    return list_->Node(index_);
}
