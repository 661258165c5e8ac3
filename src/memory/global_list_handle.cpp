// The HGLIST functions: a global list behind an opaque handle for C callers.
#include <tlvutl/lists.h>

#include <new>

namespace {

WGList* ListOf(HGLIST handle) {
    return reinterpret_cast<WGList*>(handle);
}

} // namespace

HGLIST LISTCtor(void) {
    return reinterpret_cast<HGLIST>(new (std::nothrow) WGList);
}

void LISTDtor(HGLIST list) {
    delete ListOf(list);
}

int LISTPush(HGLIST list, const void* data, LONG size) {
    return list ? ListOf(list)->InsertEnd(data, size) : -1;
}

int LISTGetIth(HGLIST list, LONG index, void* buffer, LONG size) {
    return list ? ListOf(list)->Retrieve(index, buffer, size) : 0;
}

int LISTPutIth(HGLIST list, LONG index, const void* data, LONG size) {
    return list ? ListOf(list)->Replace(index, data, size) : -1;
}

int LISTReplaceIth(HGLIST list, LONG index, const void* data, LONG size) {
    return list ? ListOf(list)->Replace(index, data, size) : -1;
}

int LISTFindCompleteElement(HGLIST list, LONG start, const void* data, LONG size) {
    return list ? ListOf(list)->FindCompleteElement(start, data, size) : -1;
}

LONG LISTSizeIth(HGLIST list, LONG index) {
    return list ? ListOf(list)->Size(index) : 0;
}

int LISTSize(HGLIST list) {
    return list ? ListOf(list)->ListSize() : 0;
}
