ardour {
	["type"]    = "dsp",
	name        = "Reel Warp Probe Source",
	category    = "Utility",
	license     = "MIT",
	author      = "QEL",
	description = [[Replaces the track's audio with a steady two-tone test signal, so that what reaches the effect under test is known whatever the track plays.]]
}

function dsp_ioconfig ()
	return { { audio_in = 2, audio_out = 2 } }
end

-- Distinct tones per channel at -12 dBFS peak: a channel swap or a
-- dropped channel shows up as a level change on the far side.
local freqs = { 441, 662 }
local amp = 0.25
local phase = { 0, 0 }
local rate = 48000

function dsp_init (r)
	rate = r
end

function dsp_run (ins, outs, n_samples)
	for c = 1, 2 do
		local o = outs[c]:array ()
		local inc = 2 * math.pi * freqs[c] / rate
		local p = phase[c]
		for i = 1, n_samples do
			o[i] = amp * math.sin (p)
			p = p + inc
		end
		phase[c] = math.fmod (p, 2 * math.pi)
	end
end
