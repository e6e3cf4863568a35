// The recording system that the benchmarks read and write, as facts and in the format of each reader.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "External/Plugin/config.h"

namespace bench {

struct SampleSize {
    unsigned int sections = 63;     // camera sections of this node, each with every tag
    unsigned int storages = 15;     // recording storages
    unsigned int ignoredLines = 0;  // lines that no form takes
};

struct Tag {
    std::string name;
    std::vector<std::string> texts;  // one or two quoted values; none for a plain one
    std::string plain;
};

struct Group {
    std::string header;  // empty for the lines ahead of the first section
    std::vector<Tag> tags;
};

// global.cfg: 64 nodes, the cameras on node 1.
std::vector<Group> GlobalFacts(const SampleSize& size);

// local.cfg of node 1.
std::vector<Group> LocalFacts(const SampleSize& size);

// In the format of this system.
std::string OwnText(const std::vector<Group>& groups, unsigned int ignoredLines = 0);

// As an INI or key file: no quotes, and "[node]" ahead of the lines without a section.
std::string IniText(const std::vector<Group>& groups);

// Puts global.cfg and local.cfg into the configuration folder.
void InstallSample(const SampleSize& size);

// The same pair as "global.ini" and "local.ini" in the folder "ini", whose path is returned.
std::string InstallIniSample(const SampleSize& size);

// Fails unless the competitor has read what the library has.
void RequireSameFacts(const CONFIGURATION__GLOBAL& global, const CONFIGURATION__LOCAL& local);

}  // namespace bench
