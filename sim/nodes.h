#pragma once

#include "state.h"

// The three device nodes: what they are called, and which files of a board's folder stand for them.

namespace zelsim {

constexpr char kFlashFile[] = "/flash.inverted";

struct NodeDescription {
  Node node;
  const char *name;
  const char *path;
  const char *file;  // its name in the board's folder, after a slash; only the flash's file has content
};

constexpr NodeDescription kNodes[] = {
    {Node::Gpio, "gpio", "/dev/zel_gpio", "/gpio"},
    {Node::I2c, "i2c", "/dev/zel_i2c", "/i2c"},
    {Node::Flash, "flash", "/dev/zel_spi_flash", kFlashFile},
};

/** Null if it is no device node. */
constexpr const NodeDescription *description_of(Node node) {
  for (const NodeDescription &row : kNodes) {
    if (row.node == node) return &row;
  }
  return nullptr;
}

constexpr char kAnyNode[] = "any";
constexpr char kDebugCmd[] = "debugCmd";

constexpr const char *node_name(Node node) {
  const NodeDescription *description = description_of(node);
  if (description != nullptr) return description->name;
  if (node == Node::DebugCmd) return kDebugCmd;
  return node == Node::Any ? kAnyNode : "none";
}

}  // namespace zelsim
