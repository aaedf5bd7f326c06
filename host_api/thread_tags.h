#pragma once

/// \file
/// Tags of the host interfaces. Each operation of these headers carries one tag in square brackets: the
/// thread that may call it and, where it matters, the state the object must be in.
///
/// Threads:
/// - [host thread]: the thread on which the host calls the plug-in. One at a time; the plug-in takes no lock.
/// - [any host thread]: several host threads may call at once; the object guards itself.
/// - [plug-in]: called by the plug-in into the host's libraries, always on the host's calling thread. The
///   capture thread calls no host library.
///
/// States of a channel driver: created, configured, recording, stopped (see CChannelDriver.h). An operation
/// without a state may be called in every state.
///
/// All texts are narrow, zero-terminated byte strings in the platform's narrow encoding. Unless stated
/// otherwise a text is read during the call only and is never kept by pointer.
