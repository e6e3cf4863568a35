// One of the two files as it stands in the checked folder, read once: what happens to it later does not matter any
// more.
#pragma once

#include <string>

struct InputFile {
    enum class Kind {
        Regular,
        Unopenable,  // missing, or not to be read by this user; the readers say why
        Folder,      // opens, but gives no text
        Special,     // a FIFO or a device, which the readers take for an empty file
    };
    Kind kind = Kind::Unopenable;
    int error = 0;        // of an Unopenable one
    std::string path;     // in the checked folder
    std::string content;  // of a Regular one
};

// Never waits, and opens no FIFO and no device. Throws NotChecked for a file that is too large to be a configuration.
InputFile ReadInput(const std::string& path);

// Puts at `place` what the readers find like the file itself: its text, or what fails like it. Throws NotChecked when
// there is no room.
void LayOut(const InputFile& file, const std::string& place);

// Writes a new file. Throws NotChecked when there is no room.
void WriteNewFile(const std::string& path, const std::string& content);

// A file of the checker's own as bytes. Throws NotChecked when it cannot be read.
std::string ReadWritten(const std::string& path);
