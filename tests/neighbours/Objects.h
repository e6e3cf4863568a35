// What a neighbour may have put at a name before the program comes to it.
#pragma once

#include <sys/types.h>

#include <string>

namespace neighbours {

enum class Object {
    Nothing,
    CallersFile,
    RootsFile,
    StrangersFile,
    LinkToRootsFile,  // this and all further links belong to the stranger, unless their names say otherwise
    LinkToCallersFile,
    LinkToMissingFile,  // in a folder of root's: whoever opens it as root makes it
    DanglingLink,       // into a folder that is not there
    LoopingLink,        // to itself
    LinkToFifo,
    LinkToDevice,
    LinkToTerminal,
    HardLinkToRootsFile,
    HardLinkToCallersFile,
    Fifo,
    ReadFifo,  // the stranger has it open for reading
    FedFifo,   // the stranger has it open for writing, and lines of a configuration are in it
    Socket,
    Device,         // writing to it fails for want of space
    EndlessDevice,  // reading it never ends
    Folder,
    FullFolder,   // not empty
    RootsLink,    // to a file of root's, as an administrator makes it
    CallersLink,  // to a file of the caller's
    RootsLinkToDevice,
    CallersLinkToDevice,
    RootsLinkToTerminal,
    RootsLinkToStrangersLink,
    RootsLinkToHardLink,  // root's link to a second name of a file of root's
    HardLinkToRootsLink,  // a second name of a link of root's to a file of root's
};

// What is in a FIFO that is fed: good for each of the three files that are read.
inline const std::string kFedText = "ClusterName = \"Planted\"\nNodeCount = 3\nNodeID = 2\n";

const char* NameOf(Object object);

// Holds what a planted object needs as long as it is there: a terminal, an open end of a FIFO.
class Plant {
public:
    // Puts the object at the name, in the place of what may lie there. The caller of this has root's rights.
    Plant(Object object, const std::string& path);
    ~Plant();
    Plant(const Plant&) = delete;
    Plant& operator=(const Plant&) = delete;

    // What came out at the other end of a terminal or a FIFO, less what was fed.
    std::string WhatArrived() const;

    // Of a terminal: whether somebody has opened it, and closed it again; whether its mode has changed.
    bool WasOpened() const;
    bool HasOtherMode() const;

private:
    void MakeTerminal(const std::string& path, uid_t owner);
    void MakeHeldFifo(const std::string& path, bool fed);

    int end_ = -1;           // of the terminal or the FIFO
    bool fed_ = false;       // whether text was put into the FIFO
    std::string terminal_;   // path of the terminal, empty without one
    unsigned int mode_ = 0;  // of the terminal
};

}  // namespace neighbours
