#include "Findings.h"

#include <algorithm>
#include <cstring>

#include "DroppedLines.h"
#include "Explanations.h"
#include "FormState.h"

namespace {

struct Advice {
    const char* begin;  // of a tag, or of a line's key
    const char* text;
};

constexpr Advice kChanged[] = {
    {"ClusterName", "The name is cut or replaced; put it right on the form before \"Apply\"."},
    {"NodeCount", "Put the number of Recorders right on the form before \"Apply\"."},
    {"NodesOffline",
     "Offline Recorders above NodeCount are not written; take them out of the list or raise NodeCount."},
    {"SensorsConnectedToNode",
     "No save writes sensor counts. Keep the lines, and put them in again behind the camera counts after \"Apply\"."},
    {"GeneralStoragePath", "Choose the general storage on the form before \"Apply\"."},
    {"NodeID", "Put the Recorder ID right on the form before \"Apply\"."},
    {"IP", "Put the addresses in again after \"Apply\"; a second one needs a first."},
    {"RecordingStorage", "The drives are numbered in the order of the mount table; look at their order in the diff."},
    {"MaxMemUseAllowed",
     "The percentage is kept in single precision and its rest is cut off; choose one that comes back, such as one "
     "below."},
    {"[",
     "A section without both values of CaptureDevice, or that does not fit this Recorder, is not written as it "
     "stands. Correct it first."},
    {"", "Look at the diff, and put the value in again after \"Apply\"."},
};

constexpr char kCameraNumber[] =
    "It stands in no camera section that was taken, its value was not taken, or it is 0, which is not written.";

constexpr Advice kDropped[] = {
    {"camerasoffline",
     "The reader does not take such lists, so no save keeps them. Put the line in again after \"Apply\"."},
    {"sensorsoffline",
     "The reader does not take such lists, so no save keeps them. Put the line in again after \"Apply\"."},
    {"sensorsconnectedtonode", "No save writes sensor counts. Put the line in again after \"Apply\"."},
    {"camerasconnectedtonode", "The line was not taken, or its Recorder is above NodeCount. Correct one of the two."},
    {"nodesoffline", "No Recorder up to NodeCount is listed. Correct the list."},
    {"recordingstorage",
     "Mount the drive before the form is opened, number the storages without a gap, or take the line "
     "out."},
    {"[", "The section was not taken, or has no CaptureDevice with two values. Correct it, or take it out."},
    {"cameramodel",
     "Models are numbered anew, and one that covers its whole section stands without a number. See "
     "whether the diff keeps its values."},
    {"syncmode", kCameraNumber},
    {"maxdmabuffers", kCameraNumber},
    {"maxdetectiontime", kCameraNumber},
    {"linkspeed", kCameraNumber},
    {"capturedevice", "It stands in no section that was taken. Correct the header above it."},
    {"cameramac", "It stands in no section that was taken, or gives no address. Correct it, or take it out."},
    {"cti", "It stands in no camera section that was taken, or lacks one of its two values."},
    {"",
     "The readers know no such line, or its value is one that is not written. Check the spelling; keep what is for "
     "people in a file of its own."},
};

template <std::size_t N>
const char* AdviceFor(const Advice (&rows)[N], const std::string& key) {
    const Advice* row = rows;
    while (key.compare(0, std::strlen(row->begin), row->begin) != 0) {
        ++row;
    }
    return row->text;
}

// The last line with the tag, 0 for none.
std::size_t LastLineWith(const std::string& key, const std::string& content) {
    std::size_t found = 0;
    std::size_t number = 0;
    for (std::size_t at = 0; at < content.size();) {
        const std::size_t end = std::min(content.find('\n', at), content.size());
        ++number;
        if (KeyOfLine(content.substr(at, end - at)) == key) {
            found = number;
        }
        at = end + 1;
    }
    return found;
}

}  // namespace

Finding NoRegularFile(const InputFile& file) {
    return {"'" + file.path + "' is no file but a FIFO or a device",
            PlaceOf(file.path, 0) +
                "it reads as an empty file, and \"Apply\" would put a new one in its place. Put the right file there."};
}

Finding PathTooLong(const std::string& path, const std::string& content, std::size_t length) {
    const std::size_t line = LastLineWith("generalstoragepath", content);
    return {"the path of the general storage is too long (" + std::to_string(length) + " characters)",
            PlaceOf(path, line) +
                "the form has room for 511 with the closing slash; the program is aborted before it opens. Shorten "
                "the path.",
            line};
}

Finding DialogFailed(const std::string& reason) {
    return {std::string("whether '") + AUTOSTART_ENTRY + "' exists cannot be told (" + reason + ")",
            "the program gives up with \"Failed to init dialog\" before its form opens. Put that path right."};
}

std::vector<Finding> NotMounted(const std::vector<Storage>& storages, const std::string& general) {
    const std::string instead =
        general.empty() ? "leave the general storage empty" : "make '" + general + "' the general storage";
    std::vector<Finding> findings;
    for (const Storage& storage : storages) {
        if (storage.mounted) {
            continue;
        }
        if (storage.number == 0) {
            findings.push_back({"the general storage is not mounted: " + storage.path,
                                "\"Apply\" would " + instead + ". Mount the drive before the form is opened."});
        } else {
            findings.push_back(
                {"recording storage " + std::to_string(storage.number) + " is not mounted: " + storage.path,
                 "\"Apply\" would take it out of local.cfg. Mount the drive before the form is opened."});
        }
    }
    return findings;
}

Finding Refused(const std::string& general) {
    return {"\"Apply\" would be refused",
            "the general storage, '" + general +
                "', is a recording drive too. Mount the drive of the general storage, or choose another on the form."};
}

Finding NotWritten(FileIndex file, bool isFolder) {
    constexpr const char* kTemporaryNames[FILES] = {"global.cfg.temp", "local.cfg.tmp"};
    const std::string name = FILE_NAMES[file];
    const std::string temporary = kTemporaryNames[file];
    return {"\"Apply\" could not write " + name + " and would leave " + temporary + " behind",
            isFolder ? "a folder stands in the file's place. Move it away."
                     : "a line of the file would have more than the 2047 characters that are written of one, such as "
                       "the path of a drive. Mount that drive at a shorter path."};
}

Finding LostFile(FileIndex file) {
    const std::string name = FILE_NAMES[file];
    return {"\"Apply\" would replace " + name + ", which does not load",
            "what was not read of the file would be lost. Correct the file before anybody presses \"Apply\"."};
}

Finding ChangedValue(FileIndex file, const std::string& tag) {
    return {"\"Apply\" would change " + tag + " in " + FILE_NAMES[file], AdviceFor(kChanged, tag)};
}

Finding Dropped(const DroppedLine& line) {
    return {
        "\"Apply\" would drop line " + std::to_string(line.line) + " of " + FILE_NAMES[line.file] + ": " + line.text,
        AdviceFor(kDropped, KeyOfLine(line.text)), line.line};
}

Finding NextStart(const Finding& message) {
    return {"the start after \"Apply\" would say: " + message.text, message.explanation};
}

Finding AutostartLost(Autostart autostart) {
    const std::string entry = std::string("'") + AUTOSTART_ENTRY + "'";
    if (autostart == Autostart::Removed) {
        return {"\"Apply\" would remove " + entry,
                "it is a link to nothing, which counts as No. Check \"Run server at system start:\" on the form if the "
                "server is to start at boot."};
    }
    return {"\"Apply\" would empty " + entry,
            std::string("'") + START_ENTRY +
                "' has no text, cannot be read, or is the entry itself through a link. Put the server's start entry "
                "back in its place."};
}
