-- wrk script of scripts/bench-http: POST {"args":[1,2],"nargout":1} with a bearer token (from
-- KORVAN_BENCH_TOKEN, when set) to the path given on wrk's command line, and one summary line
-- that the script parses: requests per second, p50 and p99 latency in microseconds, errors.
wrk.method = "POST"
wrk.body = '{"args":[1,2],"nargout":1}'
wrk.headers["Content-Type"] = "application/json"
local token = os.getenv("KORVAN_BENCH_TOKEN")
if token ~= nil and token ~= "" then
  wrk.headers["Authorization"] = "Bearer " .. token
end

done = function(summary, latency, requests)
  local e = summary.errors
  io.write(string.format("BENCH requests=%d rps=%.1f p50_us=%d p99_us=%d socket_errors=%d non2xx=%d\n",
    summary.requests, summary.requests / (summary.duration / 1e6),
    latency:percentile(50), latency:percentile(99),
    e.connect + e.read + e.write + e.timeout, e.status))
end
