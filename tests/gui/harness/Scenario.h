// Steps and sample files that several tests share.
#pragma once

#include <signal.h>

#include <string>
#include <vector>

#include "Session.h"

namespace gui {

// The form's colours, as they stand on the screen.
namespace colour {
inline constexpr Colour kWindow{48, 48, 48};
inline constexpr Colour kHeader{64, 64, 64};
inline constexpr Colour kButton{56, 56, 56};
inline constexpr Colour kHighlight{64, 64, 64};
inline constexpr Colour kControl{40, 40, 40};
inline constexpr Colour kPopup{64, 64, 64};
inline constexpr Colour kPopupList{48, 48, 48};
inline constexpr Colour kText{240, 240, 240};
inline constexpr Colour kCheckMark{0, 64, 0};
}  // namespace colour

// What ends a process whose backend did not come up, in every build: a memory fault.
inline constexpr int kFault = SIGSEGV;
// Whether the toolkit's own assertions are on.
#ifdef NDEBUG
inline constexpr bool kToolkitAsserts = false;
#else
inline constexpr bool kToolkitAsserts = true;
#endif

inline const std::string kAlertText =
    "General storage should be set to a different location than the Recording storage.";
inline const std::string kNoCameraFile =
    "ERROR: Config: Cannot open camera config file '/etc/Orvan/Config/Server/camera.cfg'\n";

// A global.cfg without cameras, as the program writes it.
std::string GlobalFile(const std::string& name, unsigned int recorders, const std::string& generalStorage);
// A local.cfg without devices, as the program writes it.
std::string LocalFile(unsigned int id, const std::vector<std::string>& recordingStorages);

bool AlertIsUp(Session& session);
bool DrivePopupIsUp(Session& session);

// Empties the name field, which shows this many characters, and types.
void ReplaceName(Session& session, std::size_t shown, const std::string& name);
// Opens the drive popup, switches these rows, leaves it with the given button.
void SwitchDrives(Session& session, const std::vector<int>& rows, const Rect& leaveWith);
// Presses "Apply" and expects the everyday end.
void ApplyAndEnd(Session& session);
void CancelAndEnd(Session& session);

}  // namespace gui
