#include "Report.h"

std::size_t Report::Count() const {
    return files[FILE_GLOBAL].messages.size() + files[FILE_LOCAL].messages.size() + findings.size();
}

Verdict Report::GetVerdict() const {
    bool broken = start != Start::Form;
    for (const FileReport& file : files) {
        broken = broken || file.load.value_or(0) == 0;
    }
    if (broken) {
        return Verdict::Broken;
    }
    return Count() > 0 ? Verdict::Notice : Verdict::Clean;
}
