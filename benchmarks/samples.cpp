#include "samples.hpp"
#include "support/temporary_directory.hpp"

#include <orv/orv.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <unordered_set>

namespace samples {

namespace {

std::string word(std::mt19937& random) {
    static const char* const syllables[] = {"ba", "con", "de",  "fer", "gi", "lo", "men", "nu",
                                            "or", "pre", "qui", "ra",  "se", "ti", "ver", "win"};
    std::string made;
    for (unsigned long left = 2 + random() % 3; left > 0; --left)
        made += syllables[random() % 16];
    return made;
}

std::vector<std::string> words(unsigned long count, std::mt19937& random) {
    std::unordered_set<std::string> known;
    std::vector<std::string> made;
    while (made.size() < count) {
        std::string next = word(random);
        while (!known.insert(next).second)
            next += std::to_string(random() % 10);
        made.push_back(next);
    }
    return made;
}

std::string level_name(unsigned long level, bool same_name) {
    std::mt19937 random(static_cast<unsigned>(level));
    return same_name ? "level" : word(random) + std::to_string(level);
}

// A document is filled from text, which takes time in proportion to its size, whatever the order of
// its settings.
std::string markup(const std::vector<setting>& all) {
    std::string text = "<root>";
    const std::string* section = nullptr;
    for (const setting& each : all) {
        if (!section || *section != each.section) {
            if (section)
                text += "</" + *section + ">";
            text += "<" + each.section + ">";
            section = &each.section;
        }
        text += "<" + each.key + ">" + each.value + "</" + each.key + ">";
    }
    if (section)
        text += "</" + *section + ">";
    return text + "</root>";
}

void fill(xml::root& document, const std::vector<setting>& all) {
    const std::string text = markup(all);
    document.load(text.c_str(), text.size());
    for (const setting& each : all) // parses every section, so that it is written key by key
        document.get(each.section.c_str(), each.key.c_str());
}

} // namespace

std::vector<setting> settings(unsigned long sections, unsigned long keys) {
    std::mt19937 random(1);
    std::vector<setting> all;
    for (const std::string& section : words(sections, random)) {
        for (const std::string& key : words(keys, random))
            all.push_back({section, key, std::to_string(10000 + random() % 90000)});
    }
    return all;
}

std::vector<setting> shuffled(std::vector<setting> all) {
    std::shuffle(all.begin(), all.end(), std::mt19937(2));
    return all;
}

std::string file(const std::string& name) {
    static const temporary_directory directory;
    return directory.file(name);
}

std::string settings_file(const std::vector<setting>& all, const std::string& name) {
    ORV::sconfig config;
    config.file = file(name).c_str();
    config.cipherKey = key_text;
    fill(config.doc, all);
    config.doc["~ORV"]; // the marker by which the library recognizes a whole file
    if (!config.writeV(1000)) {
        std::perror(config.file.c_str());
        std::exit(1);
    }
    return config.file.c_str();
}

std::string settings_text(const std::vector<setting>& all) {
    xml::root document;
    fill(document, all);
    str_t text;
    document.saveF(text, 0);
    return text.c_str();
}

std::string reply(unsigned long bytes) {
    std::mt19937 random(3);
    std::string items;
    unsigned long count = 0;
    for (; items.size() + 500 < bytes; ++count) {
        const std::string number = std::to_string(count);
        items += "<item id=\"" + number + "\" kind=\"" + word(random) + "\">\n  <name>" +
                 word(random) + " " + word(random) + "</name><price currency=\"EUR\">" +
                 std::to_string(random() % 1000) + ".50</price>\n  <note/><state code=\"" +
                 std::to_string(random() % 5) + "\"/><text>" + word(random) + " &amp; " +
                 word(random) + ", " + word(random) + "</text>\n</item>\n";
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\">\n"
           "<soap:Header><session id=\"4711\"/></soap:Header>\n"
           "<soap:Body>\n<ListResponse xmlns=\"urn:example:list\">\n<total>" +
           std::to_string(count) + "</total>\n" + items +
           "</ListResponse>\n</soap:Body>\n</soap:Envelope>\n";
}

std::string nested(unsigned long depth, bool same_name) {
    std::string text;
    for (unsigned long level = 1; level <= depth; ++level)
        text += "<" + level_name(level, same_name) + ">";
    text += "text";
    for (unsigned long level = depth; level > 0; --level)
        text += "</" + level_name(level, same_name) + ">";
    return text;
}

std::string path_to_bottom(unsigned long depth, bool same_name) {
    std::string path; // below the outermost element
    for (unsigned long level = 2; level <= depth; ++level)
        path += "/" + level_name(level, same_name);
    return path;
}

} // namespace samples
