// The folder tree in which the user picks the backup folder: the device's folders under "My
// Device", the name a new folder is offered, the checks made when its label is edited, and the
// creation of the folder with any missing parents. A front end shows the tree and the boxes;
// what they say and what is created is decided here, through the device's file system.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_system.h"

namespace kestrav::settings {

// The tree's root item, which stands for the device's "\".
inline constexpr char16_t kMyDevice[] = u"My Device";
// The context menu of a folder item: one popup with one command.
inline constexpr char16_t kFolderOptionsMenu[] = u"&Options";
inline constexpr char16_t kNewFolderCommand[] = u"New Folder";

inline constexpr char16_t kInvalidFolderName[] = u"Invalid folder name";
inline constexpr char16_t kFolderNameErrorCaption[] = u"Folder name error";
inline constexpr char16_t kConfirmFolderCreation[] =
    u"Are you sure you want to create folder \"%s\"?";
inline constexpr char16_t kFolderCreationCaption[] = u"Folder creation";
inline constexpr char16_t kFolderNotCreated[] = u"Couldn't create folder \"%s\"!";
inline constexpr char16_t kFolderCreationErrorCaption[] = u"Folder creation error";

// After a cancelled edit and after either error box, a new folder that was not created is taken
// out of the tree by a timer (id 3) of this period: the tree cannot lose the item it is still
// ending the edit of.
inline constexpr int kUncreatedFolderTimerId = 3;
inline constexpr int kUncreatedFolderTimerMilliseconds = 200;

struct FolderItem {
  std::u16string name;  // the label shown
  std::uint32_t attributes = 0;
};

// The path of an item's child: "%s\%s" of the item's path and the child's name. The root item's
// path is empty, so its children are "\Storage Card" and the like.
std::u16string ChildPath(std::u16string_view parent_path, std::u16string_view name);

// The folders in the folder of `path` (empty for the root), files left out, in the order the
// file system lists them. Folders bound into the device from the host (a storage card) are
// among them.
std::vector<FolderItem> ChildFolders(platform::FileSystem& files, std::u16string_view path);

// Whether the path names an existing folder (not a file).
bool IsExistingFolder(platform::FileSystem& files, std::u16string_view path);

// The label a new folder under `parent_path` is offered: "New Folder" when no folder has that
// name, else "New Folder(%u)" with the first of 1, 2, 3, ... that none has. A file of that name
// does not count, so its creation then fails.
std::u16string NewFolderName(platform::FileSystem& files, std::u16string_view parent_path);

// A box the front end shows: an error (with the error icon) or a Yes/No question.
struct FolderBox {
  std::u16string caption;
  std::u16string text;
};

// What the end of a new folder's label edit asks of the front end.
struct LabelEditEnd {
  enum class Step {
    kCanceled,     // nothing is created; the timer takes the item out
    kInvalidName,  // `box` as an error, focus back to the tree, then the timer
    kConfirm,      // ask `box`; Yes creates `path` (CreateNewFolder), No takes the item out
  };
  Step step = Step::kCanceled;
  FolderBox box;
  std::u16string path;
};
// `canceled` is an edit the user left without a text (Escape); `text` is the label typed.
LabelEditEnd EndLabelEdit(std::u16string_view parent_path, bool canceled, std::u16string_view text);

// Creates the folder of a confirmed label edit, with every missing parent, one level at a time:
// the first level that cannot be made ends it. On failure `error` is the box to show.
struct FolderCreation {
  bool created = false;
  std::uint32_t attributes = 0;  // the new folder's, once created
  FolderBox error;
};
FolderCreation CreateNewFolder(platform::FileSystem& files, std::u16string_view path);

}  // namespace kestrav::settings
