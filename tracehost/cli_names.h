#pragma once

/// CLI11's classes as headers need them: to include it takes a compiler seconds.
namespace CLI {
class App;
class Option;
}  // namespace CLI
