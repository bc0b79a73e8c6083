#ifndef PELTA_BENCH_WORKFOLDER_H
#define PELTA_BENCH_WORKFOLDER_H

#include <cstdio>
#include <cstdlib>
#include <string>

/* A new folder in the working one, on its disk (the temporary one may lie in memory), gone with its contents at the end. */
class WorkFolder {
  public:
    WorkFolder() {
        if (!mkdtemp(name_)) std::abort();
    }
    ~WorkFolder() {
        if (std::system((std::string("rm -r ") + name_).c_str()) != 0) std::perror(name_);
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    const char* path() const { return name_; }
    std::string file(const char* name) const { return std::string(name_) + "/" + name; }

  private:
    char name_[sizeof "./benchXXXXXX"] = "./benchXXXXXX";
};

#endif
