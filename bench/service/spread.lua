-- wrk script of run-load.sh: spreads the checks over every object of the catalog and over a few
-- versions (an update, up to date, a test version, an unknown one), each thread in its own order,
-- and prints the run's figures as one JSON line at the end.
--
--   wrk ... -s spread.lua URL -- OBJECTS
local versions = { "1.0", "2.0", "2.1-beta", "0.5" }
local requests, next_index = {}, 1
local thread_count = 0

function setup(thread)
    thread_count = thread_count + 1
    thread:set("seed", thread_count)
end

function init(args)
    local objects = tonumber(args[1]) or 1000
    for n = 0, objects - 1 do
        for _, version in ipairs(versions) do
            local path = string.format("/check?id=P%04d&version=%s&format=json", n, version)
            requests[#requests + 1] = wrk.format("GET", path)
        end
    end
    -- Built once: wrk calls request() for every request, and formatting there would load the
    -- client as much as the server.
    math.randomseed(seed)
    for i = #requests, 2, -1 do
        local j = math.random(i)
        requests[i], requests[j] = requests[j], requests[i]
    end
end

function request()
    local r = requests[next_index]
    next_index = next_index % #requests + 1
    return r
end

-- wrk's status errors are answers of 400 or above: here the non-2xx ones, as neither server
-- redirects. Its percentiles leave out the requests past its timeout, which it counts instead.
function done(summary, latency, _)
    local e = summary.errors
    io.write(string.format(
        '{"requests": %d, "seconds": %.3f, "requests_per_s": %.1f, "p50_ms": %.3f, ' ..
        '"p99_ms": %.3f, "max_ms": %.3f, "connect_errors": %d, "read_errors": %d, ' ..
        '"write_errors": %d, "timeouts": %d, "non_2xx": %d}\n',
        summary.requests, summary.duration / 1e6, summary.requests / (summary.duration / 1e6),
        latency:percentile(50) / 1e3, latency:percentile(99) / 1e3, latency.max / 1e3,
        e.connect, e.read, e.write, e.timeout, e.status))
end
