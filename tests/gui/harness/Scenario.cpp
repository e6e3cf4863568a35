#include "Scenario.h"

#include <X11/keysym.h>
#include <gtest/gtest.h>

namespace gui {
namespace {

// Inside a popup, left of everything that it holds, where the form behind it has another colour.
Point Margin(const Rect& popup) {
    return {static_cast<int>(popup.x) + 6, static_cast<int>(popup.y) + 12};
}

}  // namespace

std::string GlobalFile(const std::string& name, unsigned int recorders, const std::string& generalStorage) {
    std::string text = "ClusterName = \"" + name + "\"\n\nNodeCount = " + std::to_string(recorders) + "\n\n";
    for (unsigned int n = 1; n <= recorders; ++n) {
        text += "CamerasConnectedToNode" + std::to_string(n) + " = 0\n";
    }
    return text + "\nManagerMachineIP = 0.0.0.0\n\nGeneralStoragePath = \"" + generalStorage +
           "\"\n\nLogLevelNode = 0\n\nLogLevelManager = 0\n\nShowAllParameters = 0\n\nAllowFailedDevices = 0\n\n"
           "AllowFailedNodes = 0\n\n";
}

std::string LocalFile(unsigned int id, const std::vector<std::string>& recordingStorages) {
    std::string text = "NodeID = " + std::to_string(id) + "\n\n\n\n";
    for (std::size_t i = 0; i < recordingStorages.size(); ++i) {
        text += "RecordingStorage" + std::to_string(i + 1) + " = \"" + recordingStorages[i] + "\"\n\n";
    }
    return text;
}

bool AlertIsUp(Session& session) {
    return session.Pixel(Margin(session.At().alertPopup)) == colour::kPopup;
}

bool DrivePopupIsUp(Session& session) {
    return session.Pixel(Margin(session.At().drivePopup)) == colour::kPopup;
}

void ReplaceName(Session& session, std::size_t shown, const std::string& name) {
    session.Click(session.At().nameField);
    session.Key(XK_End);
    for (std::size_t i = 0; i < shown; ++i) {
        session.Stroke(XK_BackSpace);
    }
    session.Type(name);
}

void SwitchDrives(Session& session, const std::vector<int>& rows, const Rect& leaveWith) {
    session.Click(session.At().select);
    for (const int row : rows) {
        session.Click(session.At().DriveRow(row));
    }
    session.Click(leaveWith);
}

void ApplyAndEnd(Session& session) {
    session.Click(session.At().apply);
    EXPECT_TRUE(EndedWell(session.End())) << ToString(session.End());
}

void CancelAndEnd(Session& session) {
    session.Click(session.At().cancel);
    EXPECT_TRUE(EndedWell(session.End())) << ToString(session.End());
}

}  // namespace gui
