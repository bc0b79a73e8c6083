#include "support/textlines.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "support/failure.h"

namespace pelta {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

std::FILE* openText(const std::string& name, const std::string& fileName) {
    std::FILE* file = fileName == "-" ? stdin : std::fopen(fileName.c_str(), "re");
    if (!file) fail("{}: cannot be read: {}", name, std::strerror(errno));
    return file;
}

}

void TextFile::Close::operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
}

TextFile::TextFile(const std::string& fileName)
    : _name(inputName(fileName)), _file(openText(_name, fileName)), _protected(fileno(_file.get())) {}

std::string TextFile::rest() {
    std::string text;
    char piece[1 << 14];
    while (const std::size_t got = std::fread(piece, 1, sizeof piece, stream())) text.append(piece, got);
    if (std::ferror(stream())) failOfRead();
    return text;
}

void TextFile::failOfRead() const { fail("{}: cannot be read: {}", _name, std::strerror(errno)); }

TextLines::~TextLines() { std::free(_text); }

bool TextLines::next() {
    while (true) {
        errno = 0;
        const ssize_t length = getline(&_text, &_room, _file.stream());
        if (length < 0 && errno == ENOMEM) throw std::bad_alloc();
        if (length < 0 && std::ferror(_file.stream())) _file.failOfRead();
        if (length < 0) return false;
        ++_number;
        _line = std::string_view(_text, static_cast<std::size_t>(length));
        if (_line.ends_with('\n')) _line.remove_suffix(1);
        if (_line.ends_with('\r')) _line.remove_suffix(1);
        if (_line.starts_with(byteOrderMark)) _line.remove_prefix(byteOrderMark.size());
        const std::string_view held = trimmed(_line);
        if (!held.empty() && held.front() != '#') return true;
    }
}

std::string TextLines::place() const { return fmt::format("{}:{}", name(), _number); }

std::string TextLines::shown() const {
    constexpr std::size_t most = 60;
    const std::string_view held = trimmed(_line);
    return held.size() <= most ? std::string(held) : fmt::format("{} ...", held.substr(0, most));
}

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = std::min(text.find_first_not_of(blanks), text.size());
    text.remove_prefix(begin);
    text.remove_suffix(text.size() - (text.find_last_not_of(blanks) + 1));
    return text;
}

std::string_view unquoted(std::string_view field) {
    field = trimmed(field);
    if (field.size() >= 2 && field.front() == '"' && field.back() == '"') field = trimmed(field.substr(1, field.size() - 2));
    return field;
}

/* One letter is found much sooner than one of several. */
void splitFields(std::string_view line, std::string_view separators, std::vector<std::string_view>& fields) {
    const auto separatorFrom = [&](std::size_t begin) {
        return separators.size() == 1 ? line.find(separators.front(), begin) : line.find_first_of(separators, begin);
    };
    fields.clear();
    for (std::size_t begin = 0; begin <= line.size();) {
        const std::size_t end = std::min(separatorFrom(begin), line.size());
        fields.push_back(unquoted(line.substr(begin, end - begin)));
        begin = end + 1;
    }
}

std::vector<std::string_view> wordsOf(std::string_view line) {
    std::vector<std::string_view> words;
    bool isEmpty = true; /* nothing behind the last comma */
    for (std::size_t end = 0;;) {
        const std::size_t begin = line.find_first_not_of(blanks, end);
        if (begin == std::string_view::npos) break;
        end = begin;
        if (line[begin] == ',' || line[begin] == ';') {
            if (isEmpty) words.emplace_back();
            isEmpty = true;
            ++end;
            continue;
        }
        end = std::min(line.find_first_of(" \t\r,;", begin), line.size());
        words.push_back(unquoted(line.substr(begin, end - begin)));
        isEmpty = false;
    }
    while (!words.empty() && words.back().empty()) words.pop_back();
    return words;
}

}
