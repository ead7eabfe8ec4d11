-- Stands in for the stock 90-enable-all.lua: links streams and keeps defaults in memory, but
-- leaves the machine's own devices alone and lets idle nodes run on.
load_module("metadata")
default_access.enable()
device_defaults.properties["use-persistent-storage"] = false
device_defaults.enable()
load_script("intended-roles.lua")
