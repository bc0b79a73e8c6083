#ifndef PELTA_TOOL_MANUALPAGE_H
#define PELTA_TOOL_MANUALPAGE_H

#include <string>
#include <string_view>

namespace pelta::manual {

/* Text as the man macros take it: letters that mean something to the formatter are written so that they stand for themselves,
 * and a dash that is no hyphen between two letters can be copied into a shell. */
std::string plain(std::string_view text);
std::string bold(std::string_view text);
std::string italic(std::string_view text);
/* A line of a program: its quotes and accents stay what they are. */
std::string literal(std::string_view line);

/* "the sum": "The sum." */
std::string sentence(std::string text);

/* One page in the man macros, from its title on. Texts and tags come as they are to be read by the formatter. */
class Page {
  public:
    /* summary: one line without a stop. */
    Page(const std::string& name, int section, const std::string& summary);

    void section(const std::string& title);
    void subsection(const std::string& title);
    void paragraph(const std::string& text);
    void item(const std::string& tag, const std::string& text);
    /* Lines as they stand. */
    void example(const std::string& lines);

    const std::string& fileName() const { return _fileName; }
    const std::string& text() const { return _text; }

  private:
    void addHeading(const std::string& heading);
    void beginParagraph();
    void addText(const std::string& text);

    std::string _fileName, _text;
    bool _isBelowHeading = true;
};

}

#endif
