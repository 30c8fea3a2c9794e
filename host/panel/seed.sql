-- A panel as it is soon after its installation.
USE kvr;

-- Texts in this database are in UTF-8.
INSERT INTO misc (param, val) VALUES ('mysql41_compatible', 'true');

INSERT INTO actions (id, name, descr) VALUES
    (1, 'service_start', 'A service was started'),
    (2, 'service_stop', 'A service was stopped');

-- The administrator has started Redis, which is not a core service.
INSERT INTO log_actions (id, action_id) VALUES (1, 1);
INSERT INTO log_components (action_id, component, old_value, new_value)
    VALUES (1, 'service', 'redis', 'redis');
