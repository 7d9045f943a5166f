ardour {
	["type"]    = "dsp",
	name        = "Reel Warp Probe Meter",
	category    = "Utility",
	license     = "MIT",
	author      = "QEL",
	description = [[Passes audio through unchanged and accumulates, per channel, the energy, the peak and the count of non-finite samples since the host last asked for a reset. The session script reads them from shared memory.]]
}

function dsp_ioconfig ()
	return { { audio_in = 2, audio_out = 2 } }
end

-- Shared memory, in 32-bit slots:
--   int   0      reset request: the session script sets 1, the meter clears and sets 0
--   int   1      samples counted (per channel)
--   int   2, 3   non-finite samples, left and right
--   float 4, 5   sum of squares, left and right
--   float 6, 7   absolute peak, left and right
function dsp_init (rate)
	self:shmem ():allocate (8)
	self:shmem ():clear ()
end

function dsp_run (ins, outs, n_samples)
	local shm = self:shmem ()
	local ints = shm:to_int (0):array ()
	local floats = shm:to_float (0):array ()
	if shm:atomic_get_int (0) ~= 0 then
		for k = 2, 8 do ints[k] = 0 end
		shm:atomic_set_int (0, 0)
	end
	for c = 1, 2 do
		if ins[c] ~= outs[c] then
			ARDOUR.DSP.copy_vector (outs[c], ins[c], n_samples)
		end
		local a = outs[c]:array ()
		local sum, peak, bad = 0, floats[6 + c], 0
		for i = 1, n_samples do
			local x = a[i]
			if x ~= x or x == math.huge or x == -math.huge then
				bad = bad + 1
			else
				sum = sum + x * x
				local m = math.abs (x)
				if m > peak then peak = m end
			end
		end
		floats[4 + c] = floats[4 + c] + sum
		floats[6 + c] = peak
		ints[2 + c] = ints[2 + c] + bad
	end
	ints[2] = ints[2] + n_samples
end
