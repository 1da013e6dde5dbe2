#pragma once

#include "platform/CVVersion.h"

// The names the tool and the application agree on: identifiers, the bus names, the object path
// and interfaces of the proxy protocol, the notifications and the launch environment.
namespace CVCorvaneContract {

inline constexpr const char* kApplicationBundleIdentifier = "com.corvane.Corvane";
inline constexpr const char* kToolBundleIdentifier = "com.corvane.Corvane.cvdiff";
inline constexpr const char* kDistributedObjectsConnectionName =
    "com.corvane.Corvane.distributed-objects.cvdiff";
inline constexpr const char* kSharedItemsAppGroupIdentifier = "K7CV2T9QX4.com.corvane.sharedItems";

// The proxy protocol.
inline constexpr const char* kProxyObjectPath = "/com/corvane/Corvane/cvdiff";
inline constexpr const char* kProxyInterface = "com.corvane.Corvane.CVCLIProxyProtocol";

// Distributed notifications: broadcast signals of this interface, member = notification name,
// signature "va{sv}" (the object as a coded string or nil, then the user info).
inline constexpr const char* kNotificationObjectPath = "/com/corvane/Corvane";
inline constexpr const char* kNotificationInterface =
    "com.corvane.Corvane.DistributedNotifications";
inline constexpr const char* kCloseTabNotification = "CVCloseTabNotification";
inline constexpr const char* kMergeFinishedByResolvingNotification =
    "CVMergeFinishedByResolvingNotification";
inline constexpr const char* kMergeFinishedWithoutResolvingNotification =
    "CVMergeFinishedWithoutResolvingNotification";
inline constexpr const char* kDidFinishLaunchingNotification =
    "CVCorvaneDidFinishLaunchingNotification";

// The environment variable the tool sets when it launches the application.
inline constexpr const char* kLaunchedFromToolVariable = "CVApplicationLaunchedFromCVDiff";

// Builds: the tool's own, and the oldest application build it accepts.
inline constexpr const char* kToolBuildNumber = kCVDiffBuildNumber;
inline constexpr long kOldestAcceptedApplicationBuild = 150;

}  // namespace CVCorvaneContract
