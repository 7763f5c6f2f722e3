// A name for the machine that stays the same from run to run and reveals
// nothing of /etc/machine-id: an HMAC-SHA256 of this program's own key with
// the machine's identifier as the key, as systemd derives application
// identifiers, so that two programs' identifiers of one machine cannot be
// linked.
#pragma once

#include <string>

/// The machine's identifier for Tarnwick: 32 lowercase hexadecimal digits,
/// from ROOT/etc/machine-id (32 hexadecimal digits and a line end); empty
/// when there is no such file or it holds something else.
std::string MachineIdentity(const std::string& root);

/// The identifier derived from `machineId` (32 hexadecimal digits, any
/// case); empty when it is not that.
std::string MachineIdentityOf(const std::string& machineId);
