#ifndef PELTA_TOOL_STATUSLINE_H
#define PELTA_TOOL_STATUSLINE_H

#include <string>

namespace pelta {

/* One line of a terminal, on standard error, that says what is being done; silent in a pipe or when told to be quiet. */
class StatusLine {
  public:
    explicit StatusLine(bool quiet);
    /* Wipes the line. */
    ~StatusLine();
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    bool isShown() const { return _isShown; }
    /* In place of what stands there. */
    void show(const std::string& text);

  private:
    bool _isShown;
};

}

#endif
