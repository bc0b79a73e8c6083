#ifndef PELTA_TOOL_PICTUREFILE_H
#define PELTA_TOOL_PICTUREFILE_H

#include <memory>
#include <string>

namespace pelta::pictures {

class Canvas;

/* A picture and the file that it goes to. */
class PictureFile {
  public:
    /* Fails (UsageError) in a build without pictures and on names that end in no picture's, and like OutputFile. */
    PictureFile(const std::string& name, int width, int height, bool overwrite);
    ~PictureFile();
    PictureFile(const PictureFile&) = delete;
    PictureFile& operator=(const PictureFile&) = delete;

    Canvas& canvas();
    /* Hands the picture to its file, which gets its name. */
    void commit();

  private:
    struct Inside;
    std::unique_ptr<Inside> _inside;
};

}

#endif
