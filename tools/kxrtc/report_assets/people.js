// The people: their colours, turns, talk time, and the search by name.
