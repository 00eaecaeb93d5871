// Registers -> what was used: by half hours and by days. Pure.

const HalfHour = 1800000;
const Day = 86400000;

/// `known`: [{ms, energy: [5]}, ...] by time. Rows [ms, measured, spread]: kWh per half hour from ms on. A difference over
/// more than one and a half of the usual step is spread evenly; a register that goes back tells nothing.
export function halfHourUse(known) {
    const steps = known.slice(1).map((row, i) => row.ms - known[i].ms).filter(step => step > 0).sort((a, b) => a - b);
    const usual = steps[Math.floor(steps.length / 2)] ?? HalfHour;
    const rows = [];
    let isSpread = null;
    for (let i = 1; i < known.length; ++i) {
        const before = known[i - 1], step = known[i].ms - before.ms;
        const used = known[i].energy[0] - before.energy[0];
        if (step <= 0)
            continue;
        isSpread = step > 1.5 * usual;
        const value = used < 0 ? null : used * HalfHour / step;
        rows.push(isSpread ? [before.ms, null, value] : [before.ms, value, null]);
    }
    if (rows.length) // the last step ends somewhere
        rows.push([known.at(-1).ms, ...rows.at(-1).slice(1)]);
    return {rows, usual};
}

/// Rows [midnight ms, kWh of each column ...]; null where a register went back or nothing is known.
export function dayUse(known, columns) {
    const first = Math.floor(known[0].ms / Day) * Day, last = known.at(-1).ms;
    const rows = [];
    for (let day = first; day <= last && (day < last || day === first); day += Day)
        rows.push([day, ...columns.map(column => between(known, column, day, day + Day))]);
    return rows;
}

function between(known, column, from, to) {
    const used = valueAt(known, column, Math.min(to, known.at(-1).ms)) - valueAt(known, column, Math.max(from, known[0].ms));
    return used >= 0 ? used : null;
}

/// On the straight line between the two readings around `ms`.
function valueAt(known, column, ms) {
    let low = 0, high = known.length - 1;
    while (high - low > 1) {
        const middle = (low + high) >> 1;
        known[middle].ms <= ms ? low = middle : high = middle;
    }
    const a = known[low], b = known[high];
    if (ms <= a.ms || b.ms === a.ms)
        return a.energy[column];
    return a.energy[column] + (b.energy[column] - a.energy[column]) * Math.min(1, (ms - a.ms) / (b.ms - a.ms));
}
