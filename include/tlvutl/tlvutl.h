// The whole public interface of tlvutl. Each family also has its own header.
#ifndef TLVUTL_TLVUTL_H
#define TLVUTL_TLVUTL_H

#include <tlvutl/com_error.h>
#include <tlvutl/cstring.h>
#include <tlvutl/data_backup.h>
#include <tlvutl/delegate.h>
#include <tlvutl/dir_tracker.h>
#include <tlvutl/duplication.h>
#include <tlvutl/encoding.h>
#include <tlvutl/eq_parser.h>
#include <tlvutl/export.h>
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>
#include <tlvutl/geometry.h>
#include <tlvutl/hooks.h>
#include <tlvutl/locale.h>
#include <tlvutl/lists.h>
#include <tlvutl/memory.h>
#include <tlvutl/messages.h>
#include <tlvutl/optional.h>
#include <tlvutl/paper.h>
#include <tlvutl/profile.h>
#include <tlvutl/property_store.h>
#include <tlvutl/regional_format.h>
#include <tlvutl/registry.h>
#include <tlvutl/runtime_class.h>
#include <tlvutl/singleton.h>
#include <tlvutl/stream.h>
#include <tlvutl/string_table.h>
#include <tlvutl/thread_lock.h>
#include <tlvutl/timers.h>
#include <tlvutl/unit_parser.h>
#include <tlvutl/units.h>
#include <tlvutl/tree.h>
#include <tlvutl/wintypes.h>
#include <tlvutl/xml.h>
#include <tlvutl/xmp.h>

#endif
