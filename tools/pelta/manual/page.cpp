#include "manual/page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <sstream>

namespace pelta::manual {
namespace {

bool isLetter(std::string_view text, std::size_t k) {
    return k < text.size() && std::isalnum(static_cast<unsigned char>(text[k]));
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

}

std::string plain(std::string_view text) {
    std::string result;
    for (std::size_t k = 0; k < text.size(); ++k) {
        const bool isHyphen = k > 0 && isLetter(text, k - 1) && isLetter(text, k + 1);
        if (text[k] == '\\') result += "\\e";
        else if (text[k] == '-' && !isHyphen) result += "\\-";
        else result += text[k];
    }
    return result;
}

std::string literal(std::string_view line) {
    std::string result = line.starts_with('.') || line.starts_with('\'') ? "\\&" : "";
    for (const char c : line) switch (c) {
            case '\\': result += "\\e"; break;
            case '-': result += "\\-"; break;
            case '\'': result += "\\(aq"; break;
            case '`': result += "\\(ga"; break;
            case '~': result += "\\(ti"; break;
            case '^': result += "\\(ha"; break;
            default: result += c;
        }
    return result;
}

std::string bold(std::string_view text) { return fmt::format("\\fB{}\\fR", literal(text)); }
std::string italic(std::string_view text) { return fmt::format("\\fI{}\\fR", literal(text)); }

std::string sentence(std::string text) {
    if (text.empty()) return text;
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    return text.ends_with('.') ? text : text + ".";
}

Page::Page(const std::string& name, int section, const std::string& summary)
    : _fileName(fmt::format("{}.{}", name, section)),
      _text(fmt::format(".\\\" Written by scripts/manual from what the command says of itself; change that instead.\n"
                        ".TH {} {} {} \"pelta {}\" Pelta\n.SH NAME\n{} \\- {}\n",
                        upperCase(name), section, PELTA_RELEASE_DATE, PELTA_VERSION, literal(name), plain(summary))) {}

void Page::addHeading(const std::string& heading) {
    _text += heading;
    _isBelowHeading = true;
}

void Page::section(const std::string& title) { addHeading(fmt::format(".SH {}\n", upperCase(title))); }
void Page::subsection(const std::string& title) { addHeading(fmt::format(".SS {}\n", title)); }

/* A heading begins a paragraph by itself. */
void Page::beginParagraph() {
    if (!_isBelowHeading) _text += ".PP\n";
    _isBelowHeading = false;
}

/* Lines are short, and a sentence begins one of its own: the formatter then knows its end. */
void Page::addText(const std::string& text) {
    constexpr std::size_t widest = 78;
    std::istringstream words(text);
    std::string line;
    const auto endLine = [&] {
        if (!line.empty()) _text += (line.starts_with('.') || line.starts_with('\'') ? "\\&" : "") + line + "\n";
        line.clear();
    };
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > widest) endLine();
        line += (line.empty() ? "" : " ") + word;
        if (word.ends_with('.') && !word.ends_with("...")) endLine();
    }
    endLine();
}

void Page::paragraph(const std::string& text) {
    beginParagraph();
    addText(text);
}

void Page::item(const std::string& tag, const std::string& text) {
    _text += ".TP\n" + tag + "\n";
    _isBelowHeading = false;
    addText(text);
}

void Page::example(const std::string& lines) {
    beginParagraph();
    _text += ".nf\n.RS\n";
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) _text += literal(line) + "\n";
    _text += ".RE\n.fi\n";
}

}
