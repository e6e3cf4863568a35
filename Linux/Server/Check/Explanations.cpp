#include "Explanations.h"

#include <cstring>
#include <iterator>

namespace {

constexpr Explanation kExplanations[] = {
    // Both files
    {"Config: Cannot open config file '%s' (%u)",
     "the file cannot be opened; the number is the system's error: 2 it is not there, 13 this user may not read it, as "
     "root may. The form would show defaults in its place, and \"Apply\" would write them. Put the file back first."},

    // global.cfg
    {"Config: Miltiple definitions of tag 'NodeCount'",
     "NodeCount stands here a second time. Reading ends at this line, and nothing below it counts. Keep one line."},
    {"Config: 'NodeCount' is too big",
     "a Recording System has 64 Recorders at most. Reading ends at this line, and nothing below it counts. Correct the "
     "number."},
    {"Config: Invalid node  number in offline list (%u)",
     "the list of offline Recorders holds a number that is 0 or above 64. The reader never gets past it, so the form "
     "would never open. Correct the number or take it out."},
    {"Config: 'NodeCount' should be defined before '%sConnectedToNode%u'",
     "the line comes before NodeCount and was not taken. Move NodeCount up."},
    {"Config: '%sConnectedToNode' is too big",
     "a Recorder has 64 devices of one kind at most; the line was not taken. Correct the number."},
    {"Config: '%sConnectedToNode' refers to incorrect node",
     "the system has no Recorder of that number; the line was not taken. Correct the number in the tag, or NodeCount."},
    {"Config: 'ClusterName' is not defined",
     "the file gives the Recording System no name. Add a line such as ClusterName = \"Site A\"."},
    {"Config: 'NodeCount' is not defined", "the file gives no number of Recorders. Add a line such as NodeCount = 1."},
    {"Config: Max %s per node is %u",
     "all Recorders together have more devices of this kind than a system can; nothing of the file was kept. Lower the "
     "ConnectedToNode numbers."},

    // local.cfg
    {"Config: Miltiple definitions of tag 'NodeID'",
     "NodeID stands here a second time. Reading ends at this line, and nothing below it counts. Keep one line."},
    {"Config: Invalid 'NodeID'",
     "the Recorder ID is above the number of Recorders, NodeCount of global.cfg; that number is 0 when global.cfg "
     "could "
     "not be read. Reading ends at this line, and nothing below it counts. Correct the ID or global.cfg."},
    {"Config: 'NodeID' is not defined",
     "the file gives this Recorder no ID. Add a line such as NodeID = 1 above all sections."},
    {"Config: Invalid RecordingStorage number (%u)",
     "recording storages have the numbers 1 to 15; the line was not taken. Use a free number."},
    {"Config: RecordingStorage%u is defined more than once",
     "an earlier line has the same number and keeps it; this line was not taken. Use a free number."},
    {"Config: Invalid device number in offline list (%u)",
     "the list of offline devices holds a number that is 0 or above 64. The reader never gets past it, so the form "
     "would never open. Take the line out: such lists have no effect."},
    {"Config: 'NodeID' should be defined first",
     "a section begins before the Recorder has its ID; the section was not taken. Move NodeID up."},
    {"Config: Correct Global config is required to process Local configuration",
     "which devices this Recorder has is told by global.cfg, which could not be read; the section was not taken. "
     "Correct global.cfg first."},
    {"Config: Specified %s ID range is incorrect [%u-%u] for Node %u",
     "the section names devices that this Recorder does not have, or runs backwards; it was not taken. Correct the "
     "header, or the ConnectedToNode lines of global.cfg."},
    {"Config: Specified %s ID is incorrect (%u) for Node %u",
     "the section names a device that this Recorder does not have; it was not taken. Correct the header, or the "
     "ConnectedToNode lines of global.cfg."},
    {"Config: Invalid device selector '%s'",
     "the header cannot be read, and the section was not taken. Write it as [Camera], [Camera 3] or [Camera 3-6]."},
    {"Config: Specified %s ID is incorrect (%u)",
     "the camera of this line does not belong to the section above it; the line was not taken. Correct the number."},
    {"Config: Specified sync mode is incorrect (%u)",
     "SyncMode goes from 0 to 4; the line was not taken. Correct the number."},
    {"Config: 'CaptureDevice' is not defined correctly for %s %u-%u",
     "the section of these devices has no CaptureDevice line with two values that are not empty; the remaining "
     "sections "
     "were not checked. Add the line, as in CaptureDevice = \"name\", \"parameters\"."},
    {"Config: Invalid %s range specified %u-%u",
     "the section's last device comes before its first, as for a header without numbers when the Recorder has no such "
     "device; the remaining sections were not checked. Take the section out, or correct global.cfg."},
    {"Config: 'CameraModel' is not defined correctly for cameras %u-%u",
     "a CameraModel of the section has two empty values; the remaining sections were not checked. Fill them in."},
    {"Config: Mismatch in number of defined 'CameraModel' in cameras %u-%u range",
     "the CameraModel lines of the section cover more or fewer cameras than it has; the remaining sections were not "
     "checked. Give one CameraModel for all, or one with a number for each camera."},
    {"Config: Not all 'CameraMAC' are defined for cameras %u-%u",
     "some cameras of the section have a CameraMAC and some have none; the remaining sections were not checked. Give "
     "all or none."},
    {"Config: Invalid %s range specified %u-%u (overlaping)",
     "another section has one of these devices already; the remaining sections were not checked. Correct the headers."},
    {"Config: Not all [%s] are defined",
     "the sections leave out devices that global.cfg gives to this Recorder. Add the missing sections, or correct the "
     "ConnectedToNode line of this Recorder. With 64 devices on one Recorder the message always comes."},
    {"Config: RecordingStorage%u is not defined",
     "the numbers of the recording storages have a gap, and the storages behind it are not used. Number them from 1 on "
     "without a gap."},

    // Files that the checker does not load
    {"Config: Cannot open %s config file '%s'",
     "the names and positions of devices are not to be had; the form does "
     "not need them."},
    {"Config: Cannot open Device Map info file '%s'", "the device map is not to be had; the form does not need it."},
};

constexpr char kUnknown[] = "a message that this checker does not know.";

}  // namespace

const Explanation* Explanations(std::size_t& count) {
    count = std::size(kExplanations);
    return kExplanations;
}

std::string ExplanationOf(const char* format) {
    for (const Explanation& row : kExplanations) {
        if (std::strcmp(row.format, format) == 0) {
            return row.text;
        }
    }
    return kUnknown;
}

std::string PlaceOf(const std::string& path, std::size_t line) {
    return path + (line != 0 ? ", line " + std::to_string(line) : "") + ": ";
}
