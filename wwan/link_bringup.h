// The one-time bring-up of the link: network configuration, LAN pass-through, firewall, dependent services and hooks.
// Blocks for as long as its commands and the port hold time take. Results of commands are ignored: a service that fails
// to restart does not stop the sequence. Both operations catch and log their own exceptions.
#pragma once

#include <json/value.h>

// `config` is the "network" configuration.
void create_systemd_networkd_and_restart_networkd(const Json::Value &config);
void wwan_link_up(const Json::Value &config);
