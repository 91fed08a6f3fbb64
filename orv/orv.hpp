// The whole library for C++: the C interface and the classes it is made of.
#pragma once

// The settings store, its cipher and file, the web-service client, the worker thread and its lock.
namespace ORV {}
// The document model: elements, their lists, documents, and the text that they share.
namespace xml {}

#include <orv/orv.h>

#include <orv/bigint/ubigint.hpp>
#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>
#include <orv/buffers/stream.hpp>
#include <orv/http/http.hpp>
#include <orv/runtime/critical.hpp>
#include <orv/runtime/thread.hpp>
#include <orv/store/aes.hpp>
#include <orv/store/kernel.hpp>
#include <orv/store/sconfig.hpp>
#include <orv/store/xfile.hpp>
#include <orv/xml/buffer.hpp>
#include <orv/xml/escape.hpp>
#include <orv/xml/item.hpp>
#include <orv/xml/list.hpp>
#include <orv/xml/root.hpp>
