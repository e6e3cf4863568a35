// How this product opens files. Internal: the header is not installed.
//
// The directories of configuration and log are open to every local user (mode 0777), the file names in them are fixed,
// and the program runs as root. So whoever has an account can put anything at one of these names: a link to
// /etc/shadow, which root would then cut to zero, append to or open to everybody; a second name (hard link) of such a
// file; a FIFO or a device, at which root would wait for ever. The functions here open only what cannot be turned
// against its user. All of the product opens its files through them, except what it reads from places that only root
// can write to.
//
//   What lies at the name        ReadFile    NewFile                 LogFile          EntryFile
//   nothing                      fails       made                    made (1)         made
//   regular file                 opened      removed, made anew      opened           opened
//     of two or more links       opened      removed, made anew      EMLINK           EMLINK
//   link of a stranger's         followed    removed, made anew      ELOOP            ELOOP
//   link of root's or one's own  followed    removed, made anew      followed (2)     followed (2)
//     to a character device      empty       removed, made anew      opened           ENXIO
//   FIFO, socket, device         empty (3)   removed, made anew      ENXIO            ENXIO
//   directory                    opened      EISDIR                  EISDIR           EISDIR
//
//   (1) but not by OpenLogToSetMode, which never makes a file
//   (2) to what the same column says of the link's target, and so on from link to link
//   (3) a socket cannot be opened at all: ENXIO
//
// Reading follows every link: what a stranger makes root read ends in the form and the log, as does a file that he
// puts there himself.
//
// Every descriptor is close-on-exec, none becomes the controlling terminal, and no call here waits for another process.
// Paths are terminated texts. All functions return a descriptor, which is the caller's, or -1 with errno set.
#pragma once

#include <cstdio>

// Opens a file for reading. A directory opens too, and fails when it is read, as with fopen. In the place of a FIFO or
// device, which is not even opened, there is an empty file.
int OpenToRead(const char* path);

// The same, but what OpenToRead would not open gives a descriptor that can be neither read nor measured.
int OpenToMeasure(const char* path);

// Makes a file for writing, whatever had the name before, so that the file is the caller's own and nothing else is
// written to. The errno of a failure is that of a plain opening for writing: EISDIR for a directory, EROFS on a
// read-only disk, EACCES without the right to it.
//
// Where the old thing must not be removed (a stranger's file in a sticky directory), a regular file of the caller's
// with one link is cut to zero and used; anything else fails with the errno of the removal.
int OpenAnew(const char* path);

// What becomes of the bytes that are in a file.
enum class OldBytes { Keep, Cut };

// Opens a file that is written in place, at its end or cut to zero, and makes it where there is none: the log and the
// files that have no temporary one. Column LogFile.
int OpenLogFile(const char* path, OldBytes oldBytes);

// The same for an entry that is written whole; column EntryFile: regular files alone.
int OpenEntryFile(const char* path);

// Opens an existing file of column LogFile to change its mode by fchmod: never the mode of something else.
// `isDevice` tells that it is a character device, whose mode is not the log's to change.
int OpenLogToSetMode(const char* path, bool& isDevice);

// Makes a stream of a descriptor, `mode` as for fdopen. Takes the descriptor over: it is closed when that fails. Null
// with errno set when it fails or the descriptor is -1.
std::FILE* StreamOf(int descriptor, const char* mode);

// Writes all bytes. Goes on after an interruption and a short count. False when a write fails; the rest is then not
// written.
bool WriteAll(int descriptor, const char* bytes, std::size_t count);
