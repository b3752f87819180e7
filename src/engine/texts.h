// The engine's texts, as the user sees them.
#pragma once

namespace kestrav::engine::texts {

inline constexpr char16_t kCancelingBackup[] = u"Canceling backup...";
inline constexpr char16_t kCancelingRestore[] = u"Canceling restore...";
inline constexpr char16_t kBackupCanceled[] = u"Backup has been canceled by user.";
inline constexpr char16_t kRestoreCanceled[] = u"Restore has been canceled by user.";
inline constexpr char16_t kBackupEnded[] = u"Backup ended successfully in ";
inline constexpr char16_t kRestoreEnded[] = u"Restore ended successfully in ";
inline constexpr char16_t kElapsedTime[] = u"%.2d:%.2d:%.2d.%.3d";
inline constexpr char16_t kRowTime[] = u"%.2d:%.2d:%.2d";
inline constexpr char16_t kCount[] = u"%d";

}  // namespace kestrav::engine::texts
