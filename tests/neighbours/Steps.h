// The steps in which the product opens something at a name that a neighbour may have taken.
#pragma once

#include <functional>
#include <string>

namespace neighbours {

// Each is one run of the function in a process of its own; 0 when the step was done, else 1.
int SaveGlobal();
int SaveLocal();
int SaveDeviceInfo();
int SaveDeviceMap();
// Opens the log, logs kFirst, closes it.
int WriteLog();
// Opens a log that is as long as it may be, logs kFirst, which makes it rotate, and then kSecond. The function is run
// while the log is open, before the first message.
int RotateLog(const std::function<void()>& meanwhile);
int RotateLogAlone();
// The result is that of the loader.
int LoadGlobal();
int LoadLocal();
int LoadDeviceInfo();
int LoadDeviceMap();
// Sets the log's mode as the start of the program does.
int SetModeOfLog();
// Switches the autostart on as "Apply" does; 1 when there is no form.
int SwitchAutostartOn();

inline constexpr char kFirst[] = "the first message";
inline constexpr char kSecond[] = "the second message";
inline constexpr long long kLogLimit = 4194304;  // bytes, after which the log rotates

// What the saves above write.
inline const std::string kGlobalText =
    "ClusterName = \"Site A\"\n\nNodeCount = 1\n\nCamerasConnectedToNode1 = 0\n\nManagerMachineIP = 0.0.0.0\n\n"
    "GeneralStoragePath = \"\"\n\nLogLevelNode = 0\n\nLogLevelManager = 0\n\nShowAllParameters = 0\n\n"
    "AllowFailedDevices = 0\n\nAllowFailedNodes = 0\n\n";
inline const std::string kLocalText = "NodeID = 1\n\n\n\n";
inline const std::string kDeviceInfoText =
    "Camera#    1a2b = \"Gate\", 0.000000, 0.000000, 0.000000,   0.000000, 0.000000, 0.000000,   0.000000\n";
inline const std::string kDeviceMapText = "a block";

// The lines of the log as they stand in its file.
inline const std::string kFirstLine = std::string(kFirst) + "\n";
inline const std::string kSecondLine = std::string(kSecond) + "\n";

// Returns once the log thread has taken all text.
void WaitUntilTaken();

}  // namespace neighbours
