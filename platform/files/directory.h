#pragma once

#include <ace/Null_Mutex.h>
#include <ace/OS_NS_sys_stat.h>
#include <ace/Refcounted_Auto_Ptr.h>
#include <dirent.h>

#include <boost/range/iterator_range.hpp>
#include <cstddef>
#include <iterator>
#include <memory>
#include <string>

#include "platform/export.h"

namespace platform {

// True if the path, symbolic links followed, leads to a directory or to a regular file. A path that cannot be looked
// at is neither.
GUSTAIKRUM_EXPORT bool is_directory(const std::string& path);
GUSTAIKRUM_EXPORT bool is_regular_file(const std::string& path);

// Bits for kinds of reparse points, of which Linux has none.
typedef unsigned reparse_types_t;

// One entry of a directory.
struct Directory_Entry {
  std::string name;  // without the directory
  ACE_stat stat{};   // of the entry itself, not of what a link leads to; all zero where it cannot be had
  reparse_types_t reparse_types = 0;  // there are none on Linux
};

// Reads a directory entry by entry, in the order in which the file system yields them, but for itself and its parent.
// One object is used by one thread at a time.
class GUSTAIKRUM_EXPORT Directory_Reader {
 public:
  // Opens the directory, anew if another one was open. The flag and the mask are accepted and have no meaning here.
  // False if it cannot be opened; last_error() tells why.
  bool open(const char* path, bool flag, reparse_types_t mask);

  // Replaces `entry` with the next one. False at the end, where last_error() is 0, and on an error, where it is not;
  // `entry` is unchanged then.
  bool read(Directory_Entry& entry);

  // The errno of the last open() or read(), 0 if it went well.
  int last_error() const { return last_error_; }

 private:
  std::unique_ptr<DIR, int (*)(DIR*)> stream_{nullptr, &::closedir};
  int last_error_ = 0;
};

// Walks the entries of a directory. Copies share the walk: advancing one advances all of them.
// A default iterator is the end.
class GUSTAIKRUM_EXPORT Directory_Iterator {
 public:
  // What the standard library asks of an iterator.
  typedef std::forward_iterator_tag iterator_category;
  typedef Directory_Entry value_type;
  typedef std::ptrdiff_t difference_type;
  typedef const Directory_Entry* pointer;
  typedef const Directory_Entry& reference;

  // Stands at the end.
  Directory_Iterator() = default;

  // Stands on the first entry. The end, for a path that is null or empty and for a directory that cannot be opened or
  // read. The flag and the mask are handed to the reader.
  Directory_Iterator(const char* path, bool flag, reparse_types_t mask);

  // A copy stands where the other does, and goes on with it.
  Directory_Iterator(const Directory_Iterator&);
  Directory_Iterator& operator=(const Directory_Iterator&);
  ~Directory_Iterator();

  // To the next entry, or to the end after the last one and where reading fails; at the end it stays there.
  Directory_Iterator& operator++();

  // The entry; it lasts until the walk goes on. Not to be called at the end.
  reference operator*() const { return state_->val_; }
  pointer operator->() const { return &state_->val_; }

  // Equal: copies of each other, and any two that are at their end. Comparing two walks that both still stand on an
  // entry makes no sense; it is logged and they are unequal.
  bool operator==(const Directory_Iterator& other) const;
  bool operator!=(const Directory_Iterator& other) const { return !(*this == other); }

 private:
  struct State {
    Directory_Entry val_;
    Directory_Reader reader_;
    bool done_ = false;
  };

  bool at_end() const { return state_.null() || state_->done_; }

  ACE_Refcounted_Auto_Ptr<State, ACE_Null_Mutex> state_;
};

// The entries of a directory, for a range-for loop; none if it cannot be read.
GUSTAIKRUM_EXPORT boost::iterator_range<Directory_Iterator> iterate_directory(const std::string& path, bool flag,
                                                                              reparse_types_t mask);

}  // namespace platform
