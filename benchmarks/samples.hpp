// The data to measure with: settings and replies of any size, the same in every run.
#pragma once

#include <string>
#include <vector>

namespace samples {

// The key that the settings files are enciphered with.
inline constexpr char key_text[] = "0123456789abcdefghijklmnopqrstuv";

struct setting {
    std::string section, key, value;
};

// Sections of `keys` settings each, with names as people choose them and values of 5 characters.
std::vector<setting> settings(unsigned long sections, unsigned long keys);

// The same settings, in random order.
std::vector<setting> shuffled(std::vector<setting> all);

// The path of a file in a directory of this process, which is removed when the process ends.
std::string file(const std::string& name);

// Writes a settings file and returns its path.
std::string settings_file(const std::vector<setting>& all, const std::string& name);

// The plaintext of that file, without its magic.
std::string settings_text(const std::vector<setting>& all);

// A reply of a web service with its declaration, of about `bytes` bytes. One element is one level
// below the envelope, another ("total") four levels below the top.
std::string reply(unsigned long bytes);
inline constexpr char one_level_down[] = "soap:Envelope/soap:Body";
inline constexpr char four_levels_down[] = "soap:Envelope/soap:Body/ListResponse/total";

// Elements nested `depth` levels deep, all with one name or each with its own, and a text in the
// innermost.
std::string nested(unsigned long depth, bool same_name);
// The path to that text.
std::string path_to_bottom(unsigned long depth, bool same_name);

} // namespace samples
