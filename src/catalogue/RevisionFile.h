#pragma once
// Reading revision files: one record a line, "name; version", CR LF line ends.
#include "catalogue/RevisionList.h"

#include <functional>
#include <string>
#include <string_view>

namespace kau {

// The nField-th field (counted from 1) of a line, untrimmed; empty if the
// line has no such field. A separator at the very end opens no further field.
std::string GetField(int nField, const std::string& line, const char* separator);
std::string_view FieldOf(int nField, std::string_view line, char separator);

// Cuts blanks, tabs, CR, LF, vertical tabs and form feeds from both ends.
std::string TrimField(const std::string& text);
std::string_view TrimmedView(std::string_view text);

// Append the records of the file to the list. False if the file does not
// exist (list unchanged, no message); true otherwise. A file that exists but
// can't be opened tells the user and reads as a file without lines. A read
// error raises TextFileError. An empty list keeps views of the file mapped
// into memory (see MappedBytes): the file must not shrink while it lives.
bool ReadLocalRevisions(LocalRevisionList& list, std::string path);
// The same reading, record by record: hands each record's trimmed name and
// version to visit instead of keeping them. The views live during the call.
// With expect, a first pass counts the lines and tells it the count, an upper
// bound of the records, so that the caller can make room for them at once.
bool VisitRevisions(const std::string& path,
                    const std::function<void(std::string_view name, std::string_view version)>& visit,
                    const std::function<void(std::size_t records)>& expect = nullptr);
bool ReadRemoteRevisions(RemoteRevisionList& list, std::string path);

} // namespace kau
