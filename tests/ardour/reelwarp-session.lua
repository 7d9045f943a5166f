-- Reel Warp inside Ardour's headless Lua session host (ardour7-lua).
--
--   ardour7-lua reelwarp-session.lua create FORMAT PLUGIN_ROOT SESSION_DIR
--   ardour7-lua reelwarp-session.lua reload FORMAT PLUGIN_ROOT SESSION_DIR
--
-- FORMAT is vst2, vst3 or lv2; PLUGIN_ROOT is the folder the plug-in was
-- copied into, the only place it may be loaded from. "create" makes a 48 kHz
-- session, runs a known signal through the effect, follows the latency Ardour
-- compensates as "Low Latency Mode" is switched, then saves with Mix and low
-- latency changed. "reload" opens that session in a fresh process and checks
-- that both came back. Findings are printed as "reelwarp-ardour: ..."; a
-- failure raises a Lua error, which makes ardour7-lua exit non-zero.

local mode, format, plugin_root, session_dir = arg[1], arg[2], arg[3], arg[4]

local RATE = 48000
local SNAPSHOT = "reelwarp"
local TRACK = "Reel Warp Test"
local LV2_URI = "https://qel.net/plugins/reelwarp"
local NORMAL_LATENCY = 2880      -- 60 ms at 48 kHz
local LOW_LATENCY = 480          -- 10 ms at 48 kHz
local SAVED_MIX = 0.37           -- far from the default of 1
local MIN_RMS = 0.01             -- -40 dBFS; the tones go in at about -15 dBFS RMS
local MAX_PEAK = 8.0             -- +18 dBFS; anything louder is a runaway, not an effect
-- The output peak over a second of the steady test tones identifies the
-- settings: the same settings give the same peak, run after run.
local PEAK_MATCH = 0.02          -- relative: same settings
local PEAK_DISTINCT = 0.05       -- relative: Mix must make at least this much difference

local plugin_types = {
	vst2 = ARDOUR.PluginType.LXVST,
	vst3 = ARDOUR.PluginType.VST3,
	lv2  = ARDOUR.PluginType.LV2,
}

-- Ardour keeps no value of its own for an LV2 property (the plug-in's state
-- holds it) and does not read one back, so its LV2 controls only echo what
-- was last sent. The output and the latency speak for the plug-in there.
local host_reads_values = format ~= "lv2"

local function report (fmt, ...)
	print ("reelwarp-ardour: " .. string.format (fmt, ...))
end

local function fail (fmt, ...)
	error ("FAIL: " .. string.format (fmt, ...), 0)
end

local function check (cond, fmt, ...)
	if not cond then fail (fmt, ...) end
end

check (mode == "create" or mode == "reload", "mode must be create or reload, not %s", tostring (mode))
check (plugin_types[format] ~= nil, "format must be vst2, vst3 or lv2, not %s", tostring (format))
check (plugin_root ~= nil and session_dir ~= nil, "missing PLUGIN_ROOT or SESSION_DIR")

local expect_file = session_dir .. ".expect"

-- Blocks of audio, counted on the engine's process thread. The time-out only
-- guards against a stalled engine and is far above what a run needs.
local function cycles (n)
	check (ARDOUR.LuaAPI.wait_for_process_callback (n, 30000), "the engine stopped processing")
end

-- Every Reel Warp file mapped into this process must be the copy under test:
-- a stale install elsewhere would otherwise pass unnoticed.
local function check_loaded_from_root ()
	local found = 0
	for line in io.lines ("/proc/self/maps") do
		local path = line:match ("%s(/%S+)$")
		if path and path:match ("[^/]*[Rr]eel[Ww]arp[^/]*%.so$") then
			found = found + 1
			check (path:sub (1, #plugin_root + 1) == plugin_root .. "/",
				"the host has %s mapped, which is not the copy under test in %s", path, plugin_root)
		end
	end
	check (found > 0, "no Reel Warp binary is mapped into the host process")
	return found
end

local function find_plugin_info ()
	local match = nil
	for info in ARDOUR.LuaAPI.list_plugins ():iter () do
		if info.name == "Reel Warp" and info.type == plugin_types[format] then
			check (match == nil, "Ardour lists Reel Warp (%s) twice: %s and %s", format, match and match.path or "", info.path)
			match = info
		end
	end
	check (match ~= nil, "Ardour did not find Reel Warp as %s (scanner cache or LV2_PATH not picked up)", format)
	check (match.creator == "QEL", "vendor is '%s', expected QEL", match.creator)
	check (match.n_inputs:n_audio () == 2 and match.n_outputs:n_audio () == 2,
		"Ardour sees %d in / %d out, expected stereo", match.n_inputs:n_audio (), match.n_outputs:n_audio ())
	if format == "lv2" then
		-- LV2 entries carry no path (lilv resolves the bundle); the mapping check covers them.
		check (match.unique_id == LV2_URI, "the LV2 URI is %s, expected %s", match.unique_id, LV2_URI)
	else
		check (match.path:sub (1, #plugin_root + 1) == plugin_root .. "/",
			"Ardour indexed Reel Warp from %s, not from the copy under test", match.path)
	end
	report ("found %s id=%s path=%s", format, match.unique_id, match.path)
	return match
end

-- The plug-in's parameters as Ardour's controls, by display name; LV2
-- properties are named after their URI, so the URI's last part is indexed too.
local function controls_of (proc)
	local auto = proc:to_automatable ()
	local by_name, count = {}, 0
	for param in auto:all_automatable_params ():iter () do
		local control = auto:automation_control (param, false)
		if not control:isnil () then
			local label = control:desc ().label
			local name = control:name ()
			-- Bypass switches are not the product's parameters: LV2's designated
			-- ports ("hidden"), the one JUCE's VST3 adds, and the one Ardour
			-- adds for a VST2 that can bypass itself ("Plugin Enable").
			if name ~= "hidden" and label ~= "Bypass" and label ~= "Plugin Enable" then
				count = count + 1
				by_name[label] = control
				local symbol = name:match ("^property%-.*:(%w+)$")
				if symbol then by_name[symbol] = control end
			end
		end
	end
	check (count == 45, "Ardour lists %d parameters, expected 45", count)
	local low = by_name["ApplyLowLatency"] or by_name["Low Latency Mode"]
	check (low ~= nil, "no ApplyLowLatency / Low Latency Mode control among the plug-in's parameters")
	check (by_name["Mix"] ~= nil, "no Mix control among the plug-in's parameters")
	return by_name["Mix"], low, count
end

local function set_control (control, value)
	control:set_value (value, PBD.GroupControlDisposition.NoGroup)
end

-- Latency as Ardour has it: the plug-in insert's signal latency, and the
-- track's, which is what the session delays other tracks by.
local function latencies (insert, track)
	return insert:signal_latency (), track:signal_latency ()
end

-- Waits until Ardour's figures reach the expected value or stay put for a
-- while, and returns where they settled.
local function settled_latency (insert, track, expected)
	local last_insert, last_track = latencies (insert, track)
	local stable = 0
	for _ = 1, 200 do
		cycles (4)
		local li, lt = latencies (insert, track)
		if li == expected and lt == expected then return li, lt end
		if li == last_insert and lt == last_track then
			stable = stable + 1
			if stable >= 50 then break end
		else
			stable = 0
		end
		last_insert, last_track = li, lt
	end
	return latencies (insert, track)
end

local function expect_latency (insert, track, expected, what)
	local li, lt = settled_latency (insert, track, expected)
	report ("latency %s: insert=%d track=%d (expected %d)", what, li, lt, expected)
	check (li == expected, "%s: Ardour reads %d samples of plug-in latency, expected %d", what, li, expected)
	check (lt == expected, "%s: Ardour compensates the track by %d samples, expected %d", what, lt, expected)
end

-- About a second of the probe meter after the effect: finite, alive, bounded.
-- Returns the peaks of both channels.
local function expect_alive_output (meter, what)
	local shm = meter:to_insert ():plugin (0):to_luaproc ():shmem ()
	-- Let the effect's parameter smoothing settle before measuring.
	cycles (24)
	shm:atomic_set_int (0, 1)
	local cleared = false
	for _ = 1, 100 do
		cycles (1)
		if shm:atomic_get_int (0) == 0 then cleared = true break end
	end
	check (cleared, "%s: the probe meter is not running", what)
	cycles (48)
	local ints = shm:to_int (0):array ()
	local floats = shm:to_float (0):array ()
	local n = ints[2]
	check (n >= RATE / 2, "%s: only %d samples reached the probe meter", what, n)
	local rms = { math.sqrt (floats[5] / n), math.sqrt (floats[6] / n) }
	local peak = { floats[7], floats[8] }
	report ("output %s: %d samples, rms L=%.4f R=%.4f (%.1f / %.1f dBFS), peak L=%.4f R=%.4f, non-finite L=%d R=%d",
		what, n, rms[1], rms[2], 20 * math.log (rms[1] + 1e-30, 10), 20 * math.log (rms[2] + 1e-30, 10),
		peak[1], peak[2], ints[3], ints[4])
	for c = 1, 2 do
		local side = c == 1 and "left" or "right"
		check (ints[2 + c] == 0, "%s: %d non-finite samples on the %s channel", what, ints[2 + c], side)
		check (rms[c] > MIN_RMS, "%s: %s channel is silent (rms %.6f)", what, side, rms[c])
		check (peak[c] < MAX_PEAK, "%s: %s channel peaks at %.3f", what, side, peak[c])
	end
	return peak
end

local function relative_difference (a, b)
	return math.abs (a - b) / math.max (math.abs (b), 1e-9)
end

local function find_processor (route, name)
	local i = 0
	while true do
		local proc = route:nth_processor (i)
		if proc:isnil () then return nil end
		if proc:display_name () == name then return proc end
		i = i + 1
	end
end

local function check_insert (proc)
	check (proc ~= nil and not proc:isnil (), "the Reel Warp insert is missing from the track")
	local insert = proc:to_insert ()
	check (not insert:isnil (), "the Reel Warp processor is not a plug-in insert")
	check (insert:plugin (0):get_info ().type == plugin_types[format], "the insert holds a plug-in of another format")
	check (insert:get_count () == 1, "Ardour runs %d instances instead of one stereo instance", insert:get_count ())
	check (insert:input_streams ():n_audio () == 2 and insert:output_streams ():n_audio () == 2,
		"the insert is configured %d in / %d out, expected stereo",
		insert:input_streams ():n_audio (), insert:output_streams ():n_audio ())
	check (proc:active (), "the Reel Warp insert is not active")
	return insert
end

local function roll (session, seconds)
	session:request_roll (ARDOUR.TransportRequestSource.TRS_UI)
	cycles (math.floor (seconds * RATE / 1024) + 1)
	check (session:transport_rolling (), "the transport does not roll")
	session:request_stop (false, false, ARDOUR.TransportRequestSource.TRS_UI)
	cycles (8)
end

if mode == "create" then
	os.remove (expect_file)
	local session = create_session (session_dir, SNAPSHOT, RATE)
	check (session ~= nil, "Ardour could not create a session in %s", session_dir)
	check (session:nominal_sample_rate () == RATE and session:sample_rate () == RATE,
		"session runs at %d Hz (nominal %d), expected %d", session:sample_rate (), session:nominal_sample_rate (), RATE)
	report ("engine %s at %d Hz", AudioEngine:current_backend_name (), session:sample_rate ())

	local info = find_plugin_info ()

	local tracks = session:new_audio_track (2, 2, nil, 1, TRACK, ARDOUR.PresentationInfo.max_order, ARDOUR.TrackMode.Normal, true)
	check (tracks:size () == 1, "could not add a stereo audio track")
	local track = tracks:front ()

	-- The effect sits between a signal source and a meter, both Ardour processors.
	local source = ARDOUR.LuaAPI.new_luaproc (session, "Reel Warp Probe Source")
	local plugin = ARDOUR.LuaAPI.new_plugin (session, info.unique_id, info.type, "")
	local meter = ARDOUR.LuaAPI.new_luaproc (session, "Reel Warp Probe Meter")
	check (not source:isnil () and not meter:isnil (), "the probe scripts are not installed")
	check (not plugin:isnil (), "Ardour could not instantiate Reel Warp (%s)", format)
	check (track:add_processor_by_index (source, 0, nil, true) == 0, "could not insert the probe source")
	check (track:add_processor_by_index (plugin, 1, nil, true) == 0, "could not insert Reel Warp")
	check (track:add_processor_by_index (meter, 2, nil, true) == 0, "could not insert the probe meter")

	local insert = check_insert (plugin)
	report ("loaded %s from %d mapping(s) under %s", insert:plugin (0):name (), check_loaded_from_root (), plugin_root)
	local mix, low, count = controls_of (plugin)
	report ("%d parameters, low latency control '%s'", count, low:name ())

	expect_alive_output (meter, "stopped")
	roll (session, 1)
	expect_alive_output (meter, "after rolling")
	expect_latency (insert, track, NORMAL_LATENCY, "at start")

	set_control (low, 1)
	roll (session, 0.5)
	expect_latency (insert, track, LOW_LATENCY, "low latency on")
	local default_peak = expect_alive_output (meter, "low latency, default Mix")

	set_control (low, 0)
	roll (session, 0.5)
	expect_latency (insert, track, NORMAL_LATENCY, "low latency off")

	-- The reload must find both: a host-side value and the plug-in's own latency and sound.
	set_control (mix, SAVED_MIX)
	set_control (low, 1)
	roll (session, 0.5)
	expect_latency (insert, track, LOW_LATENCY, "before saving")
	if host_reads_values then
		check (math.abs (mix:get_value () - SAVED_MIX) < 1e-3, "Mix reads %.4f after setting %.4f", mix:get_value (), SAVED_MIX)
	end
	local saved_peak = expect_alive_output (meter, "low latency, Mix " .. SAVED_MIX)
	for c = 1, 2 do
		check (relative_difference (saved_peak[c], default_peak[c]) > PEAK_DISTINCT,
			"Mix %.2f sounds like the default Mix (peak %.4f against %.4f)", SAVED_MIX, saved_peak[c], default_peak[c])
	end

	check (session:save_state ("", false, false, false, false, false) == 0, "saving the session failed")
	report ("saved %s with Mix=%.2f and low latency on", session_dir, SAVED_MIX)
	close_session ()

	local f = assert (io.open (expect_file, "w"))
	f:write (string.format ("return { mix = %.17g, peak = { %.9g, %.9g }, default_peak = { %.9g, %.9g } }\n",
		SAVED_MIX, saved_peak[1], saved_peak[2], default_peak[1], default_peak[2]))
	f:close ()
	report ("PASS create")
else
	local ok, expected = pcall (dofile, expect_file)
	check (ok and type (expected) == "table", "no expectations from the create run in %s", expect_file)

	local session = load_session (session_dir, SNAPSHOT)
	check (session ~= nil, "Ardour could not load the session in %s", session_dir)
	local track = session:route_by_name (TRACK)
	check (not track:isnil (), "track '%s' is missing after reload", TRACK)
	local plugin = find_processor (track, "Reel Warp")
	local meter = find_processor (track, "Reel Warp Probe Meter")
	check (find_processor (track, "Reel Warp Probe Source") ~= nil and meter ~= nil, "the probes are missing after reload")
	local insert = check_insert (plugin)
	report ("reloaded %s from %d mapping(s) under %s", insert:plugin (0):name (), check_loaded_from_root (), plugin_root)
	local mix, low = controls_of (plugin)

	-- The latency is the plug-in's own answer, so it shows the state reached the plug-in.
	expect_latency (insert, track, LOW_LATENCY, "after reload")
	if host_reads_values then
		report ("restored Mix=%.4f (saved %.4f), low latency=%.1f", mix:get_value (), expected.mix, low:get_value ())
		check (math.abs (mix:get_value () - expected.mix) < 1e-3, "Mix came back as %.4f, saved %.4f", mix:get_value (), expected.mix)
		check (low:get_value () > 0.5, "low latency came back off")
	end
	local peak = expect_alive_output (meter, "after reload")
	for c = 1, 2 do
		local side = c == 1 and "left" or "right"
		if relative_difference (peak[c], expected.peak[c]) > PEAK_MATCH then
			local default = relative_difference (peak[c], expected.default_peak[c]) <= PEAK_MATCH
			fail ("after reload the %s channel peaks at %.4f, saved as %.4f%s", side, peak[c], expected.peak[c],
				default and " (that is the default Mix: the state was not restored)" or "")
		end
	end
	report ("restored output matches the saved one (peak L=%.4f R=%.4f, saved %.4f %.4f)",
		peak[1], peak[2], expected.peak[1], expected.peak[2])

	set_control (low, 0)
	roll (session, 0.5)
	expect_latency (insert, track, NORMAL_LATENCY, "after reload, low latency off")
	close_session ()
	report ("PASS reload")
end
