// Reading a reply of 1 MB: one element one level below the envelope, one four levels below the top,
// and every element. Each side begins with the received text and makes the copy that it needs.
#include "samples.hpp"

#include <orv/orv.hpp>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <pugixml.hpp>
#include <rapidxml/rapidxml.hpp>

#include <cstring>
#include <memory>
#include <string>

namespace {

const std::string& reply_text() {
    static const std::string made = samples::reply(1 << 20);
    return made;
}

// What is done with a document once it has been read.
enum class task { one_level, four_levels, visit_all };

// The result must be the same on every side.
unsigned long expected(task wanted) {
    static const unsigned long elements = [] {
        unsigned long count = 0; // the declaration is not counted
        for (std::size_t at = 0; (at = reply_text().find('<', at)) != std::string::npos; ++at) {
            if (reply_text()[at + 1] != '/' && reply_text()[at + 1] != '?')
                ++count;
        }
        return count;
    }();
    return wanted == task::visit_all ? elements : 1;
}

// The copy that a peer parses in place.
std::unique_ptr<char[]> copy_of_text() {
    std::unique_ptr<char[]> copy(new char[reply_text().size() + 1]);
    std::memcpy(copy.get(), reply_text().c_str(), reply_text().size() + 1);
    return copy;
}

struct ours {
    xml::root top;

    ours() { top.load(reply_text().data(), reply_text().size()); }
    unsigned long one_level() { return top.get(samples::one_level_down, nullptr) != nullptr; }
    unsigned long four_levels() { return top.get(samples::four_levels_down, nullptr) != nullptr; }
    unsigned long visit_all() { return visit(top) - 1; } // without the declaration

    static unsigned long visit(xml::item& element) {
        unsigned long count = element.name != nullptr;
        element.is_set(""); // reads the children
        for (unsigned long i = 0; i < element.children.count; ++i)
            count += visit(element.children.items[i]);
        return count;
    }
};

struct pugixml {
    std::unique_ptr<char[]> text = copy_of_text();
    pugi::xml_document document;

    pugixml() { document.load_buffer_inplace(text.get(), reply_text().size()); }
    unsigned long one_level() { return !!document.child("soap:Envelope").child("soap:Body"); }
    unsigned long four_levels() {
        return !!document.child("soap:Envelope")
                     .child("soap:Body")
                     .child("ListResponse")
                     .child("total");
    }
    unsigned long visit_all() { return visit(document.document_element()); }

    static unsigned long visit(pugi::xml_node element) {
        unsigned long count = *element.name() != 0;
        for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
            if (child.type() == pugi::node_element)
                count += visit(child);
        }
        return count;
    }
};

struct rapid {
    std::unique_ptr<char[]> text = copy_of_text();
    std::unique_ptr<rapidxml::xml_document<>> document{new rapidxml::xml_document<>};

    rapid() { document->parse<rapidxml::parse_fastest>(text.get()); }
    unsigned long one_level() {
        return document->first_node("soap:Envelope")->first_node("soap:Body") != nullptr;
    }
    unsigned long four_levels() {
        return document->first_node("soap:Envelope")
                   ->first_node("soap:Body")
                   ->first_node("ListResponse")
                   ->first_node("total") != nullptr;
    }
    unsigned long visit_all() { return visit(document->first_node()); }

    static unsigned long visit(const rapidxml::xml_node<>* element) {
        unsigned long count = element->name_size() != 0;
        for (const auto* child = element->first_node(); child; child = child->next_sibling())
            count += visit(child);
        return count;
    }
};

struct libxml2 {
    xmlDoc* document;

    libxml2()
        : document(xmlReadMemory(reply_text().data(), static_cast<int>(reply_text().size()),
                                 nullptr, nullptr, XML_PARSE_NONET | XML_PARSE_COMPACT)) {}
    libxml2(const libxml2&) = delete;
    libxml2& operator=(const libxml2&) = delete;
    ~libxml2() { xmlFreeDoc(document); }

    static const xmlNode* child(const xmlNode* element, const char* name) {
        const xmlNode* at = element->children;
        while (at && std::strcmp(reinterpret_cast<const char*>(at->name), name) != 0)
            at = at->next;
        return at;
    }
    const xmlNode* body() { return child(xmlDocGetRootElement(document), "Body"); }
    unsigned long one_level() { return body() != nullptr; }
    unsigned long four_levels() { return child(child(body(), "ListResponse"), "total") != nullptr; }
    unsigned long visit_all() { return visit(xmlDocGetRootElement(document)); }

    static unsigned long visit(const xmlNode* element) {
        unsigned long count = *element->name != 0;
        for (const xmlNode* at = element->children; at; at = at->next) {
            if (at->type == XML_ELEMENT_NODE)
                count += visit(at);
        }
        return count;
    }
};

template <class Document>
void read(benchmark::State& state, task wanted) {
    for (auto _ : state) {
        Document document;
        const unsigned long found = wanted == task::one_level     ? document.one_level()
                                    : wanted == task::four_levels ? document.four_levels()
                                                                  : document.visit_all();
        if (found != expected(wanted))
            return state.SkipWithError("not all was found");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long>(reply_text().size()));
}

template <class Document>
void add(const char* side) {
    const auto add_row = [&](const char* row, task wanted) {
        benchmark::RegisterBenchmark((std::string(row) + "/" + side).c_str(), read<Document>,
                                     wanted)
            ->Unit(benchmark::kMicrosecond);
    };
    add_row("reply one level", task::one_level);
    add_row("reply four levels", task::four_levels);
    add_row("reply visit all", task::visit_all);
}

[[maybe_unused]] const bool added = [] {
    add<ours>("ours");
    add<pugixml>("pugixml");
    add<rapid>("RapidXML");
    add<libxml2>("libxml2");
    return true;
}();

} // namespace
