// Tracing documents. Not installed.
#pragma once

#include <orv/buffers/str.hpp>
#include <orv/runtime/trace.h>
#include <orv/runtime/tracing.hpp>
#include <orv/xml/item.hpp>

namespace transport {

// Traces the compact text of a document, but only if traces are seen, as rendering takes time.
inline void trace_document(const char* format, const xml::item& document) {
    if (!runtime::traces_are_seen())
        return;
    str_t text;
    document.save(text, 0);
    ORV_trace6(format, text.c_str());
}

} // namespace transport
