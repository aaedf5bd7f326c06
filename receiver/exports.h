#pragma once

#include "host_api/CReceiver.h"

/// \file
/// The functions that the plug-in exports, unmangled; see host_api/entry_points.h. Neither takes a lock: the
/// host calls them from one thread.

extern "C" {

/// The process's single receiver, one reference more. The first call makes the receiver and sets up the trace
/// environment (folders, environment variables, log); a failing set-up is ignored and tried again by the next
/// call. \throws cPelkitError, or what the receiver's constructor throws; there is then no receiver
Korr::Plim::Trace::CReceiver* CreateRcvr();

/// Gives a reference back; the last one destroys the receiver. Null, any other pointer than the live
/// receiver, and a receiver without references do nothing. Never throws: when a library of the host throws
/// while the receiver is taken down, that is logged, and the receiver stays, without drivers and unable to
/// make new ones; the next CreateRcvr gives it out again and its last DestroyRcvr completes the destruction.
void DestroyRcvr(Korr::Plim::Trace::CReceiver* receiver);
}
