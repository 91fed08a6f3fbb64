// Examples that the pages show.
#pragma once

#include "temporary_directory.hpp"

// What stands in a page's fenced block of that name.
inline std::string block_of_page(const std::string& file, const std::string& name) {
    const std::string page = read_file(ORV_SOURCE_DIR "/docs/" + file);
    const std::size_t from = page.find("\n```" + name + "\n") + 5 + name.size();
    return page.substr(from, page.find("\n```", from) - from);
}
