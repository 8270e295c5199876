-- wrk script of scripts/bench-http for the CPU-bound function: post-plus.lua (token, summary
-- line) with the body {"args":[n],"nargout":1}, n from KORVAN_BENCH_CPU_ITERATIONS (6000).
local here = debug.getinfo(1, "S").source:match("^@(.*/)") or "./"
dofile(here .. "post-plus.lua")
local n = tonumber(os.getenv("KORVAN_BENCH_CPU_ITERATIONS") or "") or 6000
wrk.body = string.format('{"args":[%d],"nargout":1}', n)
