// The form's toolkit calls and nothing else: the same calls in the same order with the same values, spelled out.
#pragma once

#include <nuklear.h>

#include <string>
#include <vector>

namespace bench {

class BareForm {
public:
    BareForm(nk_context* ctx, const std::vector<std::string>& drivePaths, const std::vector<std::string>& driveLabels);

    void Build();

private:
    void BuildTopologyGroup(struct nk_vec2 comboSize);
    void BuildStorageGroup(struct nk_vec2 comboSize);
    void BuildServiceGroup();
    void BuildDrivesPopup();

    nk_context* m_ctx;
    char m_systemName[256] = "The Recorder";
    int m_systemNameLen = 12;
    int m_recorderCountIndex = 0;
    int m_recorderIdIndex = 0;
    int m_generalStorageIndex = 0;
    int m_runServerAtStart = 0;
    int m_showDrives = 0;
    std::vector<const char*> m_drivePaths;
    std::vector<const char*> m_driveLabels;
    std::vector<int> m_driveSelected;
};

}  // namespace bench
