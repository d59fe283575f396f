// The classification of files by Exif values into a tree of up to three levels, one per key:
// each file goes under the node of its value for key 1, then key 2, then key 3; a file lacking
// a value goes under "その他", which sorts last. The Exif explorer shows the tree; the batch
// rename takes its processing order from it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "frame/file_list.h"
#include "frame/progress.h"

constexpr int32_t kClassifyLensIfd = 264;  // the maker-specific lens key
constexpr int32_t kClassOther = 256;       // the type of the "その他" value
constexpr int32_t kClassSentinel = -1;     // the start-of-index value

struct ClassifyKey {
  int32_t ifd = -1;  // -1 ends the keys
  uint16_t tag = 0;
  int32_t type = 0;  // the catalogue type, looked up at the start of a classification
};

// TREEOPTION/FMT1 (1 as it is, 2 day, 3 month, 4 year), FMT2 (2 cuts the units of focal
// lengths), CHK5 (trailing blanks removed from texts).
struct ClassifyOptions {
  int dateFormat = 2;
  int focalFormat = 2;
  int trimBlanks = 1;
};
ClassifyOptions ClassifyLoadOptions();

// The sort key of a node. `data` holds count elements in host order.
struct ClassValue {
  int32_t type = kClassOther;
  uint32_t count = 0;
  std::vector<uint8_t> data;
  std::string text;  // display text, 32 characters at most
};

// -1, 0 or 1: the sentinel first, "その他" last, then by type (texts without case).
int ClassValueCompare(const ClassValue& a, const ClassValue& b);
struct ClassValueLess {
  bool operator()(const ClassValue& a, const ClassValue& b) const { return ClassValueCompare(a, b) < 0; }
};

struct ClassifiedFile {
  std::string path;
  std::string date;  // DateTimeOriginal as text, empty when absent
};

struct ClassNode {
  uint32_t leaf = 0;
  uint32_t level = 0;
  uint32_t count = 0;
  int32_t indexType = 0;  // the type of the values of `children`, set by the first value
  std::map<ClassValue, std::unique_ptr<ClassNode>, ClassValueLess> children;
  std::vector<ClassifiedFile> files;  // a leaf's files, in the order they were classified
};

struct ClassTree {
  std::array<ClassifyKey, 3> keys;
  ClassifyOptions options;
  ClassNode root;
};

// Starts a tree on keys (compacted: a key after one of ifd -1 is dropped), looking up each key's
// catalogue type.
void ClassifyBegin(ClassTree& tree, const std::array<ClassifyKey, 3>& keys, const ClassifyOptions& options);

// The value of one key in a document, normalised; 0 when the file lacks it ("その他").
int ClassifyValueOf(ExifDocument* document, const ClassifyKey& key, const ClassifyOptions& options, ClassValue* value);

// Puts one file into the tree; document may be nullptr for a file that cannot be read.
void ClassifyAddFile(ClassTree& tree, const std::string& path, ExifDocument* document);

// Reads and classifies every file of a list in order; false from the progress hook stops it
// with the tree as far as built. Returns the number of files classified.
int ClassifyFiles(ClassTree& tree, const FileList& files, const Progress* progress);

// The leaves' files in index order.
std::vector<const ClassifiedFile*> ClassifyInOrder(const ClassTree& tree);
