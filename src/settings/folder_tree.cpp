#include "settings/folder_tree.h"

#include "platform/format.h"

namespace kestrav::settings {

std::u16string ChildPath(std::u16string_view parent_path, std::u16string_view name) {
  return platform::Format(u"%s\\%s", parent_path, name);
}

std::vector<FolderItem> ChildFolders(platform::FileSystem& files, std::u16string_view path) {
  std::vector<FolderItem> folders;
  // Every entry, as the device's "*.*" finds names with and without a dot alike.
  for (platform::FoundFile& found : files.Find(ChildPath(path, u"*"))) {
    if ((found.data.attributes & platform::kAttributeDirectory) != 0)
      folders.push_back(FolderItem{std::move(found.name), found.data.attributes});
  }
  return folders;
}

bool IsExistingFolder(platform::FileSystem& files, std::u16string_view path) {
  platform::FileAttributeData data;
  return files.GetAttributes(path, &data) == platform::kErrorSuccess &&
         (data.attributes & platform::kAttributeDirectory) != 0;
}

std::u16string NewFolderName(platform::FileSystem& files, std::u16string_view parent_path) {
  std::u16string name = kNewFolderCommand;
  for (unsigned number = 1; IsExistingFolder(files, ChildPath(parent_path, name)); ++number)
    name = platform::Format(u"New Folder(%u)", number);
  return name;
}

LabelEditEnd EndLabelEdit(std::u16string_view parent_path, bool canceled,
                          std::u16string_view text) {
  LabelEditEnd end;
  if (canceled) return end;
  if (text.empty()) {
    end.step = LabelEditEnd::Step::kInvalidName;
    end.box = {kFolderNameErrorCaption, kInvalidFolderName};
    return end;
  }
  end.step = LabelEditEnd::Step::kConfirm;
  end.path = ChildPath(parent_path, text);
  end.box = {kFolderCreationCaption, platform::Format(kConfirmFolderCreation, end.path)};
  return end;
}

FolderCreation CreateNewFolder(platform::FileSystem& files, std::u16string_view path) {
  FolderCreation creation;
  // Each level in turn, from the first: a missing parent is made before its child.
  for (std::size_t end = 1; end <= path.size(); ++end) {
    if (end < path.size() && !platform::IsPathSeparator(path[end])) continue;
    const std::u16string_view prefix = path.substr(0, end);
    if (platform::IsPathSeparator(prefix.back()) || IsExistingFolder(files, prefix)) continue;
    if (files.CreateFolder(prefix) != platform::kErrorSuccess) {
      creation.error = {kFolderCreationErrorCaption, platform::Format(kFolderNotCreated, path)};
      return creation;
    }
  }
  platform::FileAttributeData data;
  if (files.GetAttributes(path, &data) != platform::kErrorSuccess ||
      (data.attributes & platform::kAttributeDirectory) == 0) {
    creation.error = {kFolderCreationErrorCaption, platform::Format(kFolderNotCreated, path)};
    return creation;
  }
  creation.created = true;
  creation.attributes = data.attributes;
  return creation;
}

}  // namespace kestrav::settings
