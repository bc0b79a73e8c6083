#ifndef PELTA_TOOL_TEXTLINES_H
#define PELTA_TOOL_TEXTLINES_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/outputfile.h"

namespace pelta {

/* A text file that is open for reading, - is standard input: no output can take its place while this lives. */
class TextFile {
  public:
    /* Fails (Failure) where it cannot be opened. */
    explicit TextFile(const std::string& fileName);

    /* "points.csv", "standard input" */
    const std::string& name() const { return _name; }
    std::FILE* stream() const { return _file.get(); }
    /* What is left of it. Fails (Failure) on what cannot be read, such as a folder. */
    std::string rest();
    /* Fails (Failure), for errno, after a read that did not succeed. */
    [[noreturn]] void failOfRead() const;

  private:
    struct Close {
        void operator()(std::FILE* file) const;
    };
    std::string _name;
    std::unique_ptr<std::FILE, Close> _file;
    ProtectedInput _protected;
};

/* The lines of a text file that hold something: empty ones and those that begin with # are passed over. The ends of
 * lines do not belong to them, nor do byte order marks, of which files joined with cat hold several. */
class TextLines {
  public:
    /* Opens the file like TextFile. */
    explicit TextLines(const std::string& fileName) : _file(fileName) {}
    ~TextLines();
    TextLines(const TextLines&) = delete;
    TextLines& operator=(const TextLines&) = delete;

    /* Goes to the next one; false behind the last. Fails (Failure) on what cannot be read, such as a folder. */
    bool next();
    /* Until the next one is asked for. */
    std::string_view line() const { return _line; }
    /* Of the line in the file, from 1 on. */
    std::int64_t number() const { return _number; }
    const std::string& name() const { return _file.name(); }
    /* "points.csv:12" */
    std::string place() const;
    /* The line for a message: it may be as long as a file. */
    std::string shown() const;

  private:
    TextFile _file;
    char* _text = nullptr;
    std::size_t _room = 0;
    std::string_view _line;
    std::int64_t _number = 0;
};

inline constexpr std::string_view blanks = " \t\r";
/* Without blanks around it. */
std::string_view trimmed(std::string_view text);
/* Without blanks and quotes around it. */
std::string_view unquoted(std::string_view field);

/* Puts what stands between separators into fields, unquoted; a field is empty where nothing does. */
void splitFields(std::string_view line, std::string_view separators, std::vector<std::string_view>& fields);

/* The words of a line, unquoted. Commas, semicolons and blanks separate; a word is empty where nothing stands between two commas
 * or semicolons or before the first, but those behind the last word part nothing. */
std::vector<std::string_view> wordsOf(std::string_view line);

}

#endif
